// HTTP on the desktop, with libcurl's multi interface on the Qt event loop:
// each socket curl uses is watched by a QSocketNotifier, and curl's one timer
// is a single-shot timer on the run loop, so an idle client wakes nobody.
// Replies are posted to the run loop. libcurl is loaded (dlopen) at the first
// request; where it cannot be, requests fail as unavailable.
//
// Defaults: TLS checked against the system's CA store; proxies from the
// environment as curl reads them (http_proxy, https_proxy, no_proxy …);
// redirects followed (at most 5, http and https only); 10 s to connect, 30 s
// for the whole request unless it names its own timeout; answers above
// HttpClient::kMaxResponseBytes refused as tooLarge. Destroying the client
// cancels every request still under way.
#pragma once

#include <cstddef>
#include <memory>

#include "base/http.h"

namespace kernova {
class Logger;
}

namespace kernova::desktop {

class CurlHttpClient final : public HttpClient {
  public:
    // Made on the thread whose Qt event loop runs `loop`; the log outlives it.
    CurlHttpClient(RunLoop& loop, const Logger& log);
    ~CurlHttpClient() override;
    CurlHttpClient(const CurlHttpClient&) = delete;
    CurlHttpClient& operator=(const CurlHttpClient&) = delete;

    [[nodiscard]] std::unique_ptr<HttpTask> send(HttpRequest request, HttpReply reply) override;

    // Requests under way (sent, neither answered nor cancelled).
    std::size_t activeCount() const;
    // Sockets watched and curl timers pending: both 0 once nothing is under way.
    std::size_t watchedSockets() const;
    bool timerPending() const;

    struct Impl;

  private:
    std::shared_ptr<Impl> impl_;
};

}  // namespace kernova::desktop
