// HTTP requests: GET and POST with headers and a body, answered later on the
// process's run loop with a status, headers and data, or with a transport error.
// Every HTTP status (404, 429, 500 …) is an answer; an error means no complete
// answer arrived. Data are bytes: whether they are UTF-8 is the caller's business.
//
// A request lives as long as its handle: destroying the handle cancels it, and
// the reply of a cancelled request never runs. Requests are made, and handles
// destroyed, on the run loop's thread.
//
// kernovad sends them with libcurl (desktop/curl_http_client.h); the simulated
// device answers them from a script (sim/sim_http_client.h). A process reaches
// its client through Context::http().
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "base/run_loop.h"

namespace kernova {

class Logger;

// Name and value pairs in their order; names are compared without case.
using HttpHeaders = std::vector<std::pair<std::string, std::string>>;

enum class HttpMethod { get, post };

struct HttpRequest {
    HttpMethod method = HttpMethod::get;
    std::string url;  // http:// or https://, escaped by the caller
    HttpHeaders headers;
    std::string body;  // sent with POST; a GET with a body is refused
    // Seconds the whole request may take; 0 (or anything not positive) means
    // the client's default, kDefaultTimeout.
    double timeout = 0;
};

HttpRequest httpGet(std::string url, HttpHeaders headers = {});
HttpRequest httpPost(std::string url, std::string body, HttpHeaders headers = {});

struct HttpResponse {
    int status = 0;
    HttpHeaders headers;  // of the final answer, after redirects
    std::string data;

    // The first header of that name (any case), absent when there is none.
    std::optional<std::string> header(std::string_view name) const;
};

enum class HttpErrorKind {
    badRequest,   // the URL or a header cannot be sent as given
    connect,      // no connection: name not resolved, refused, unreachable
    tls,          // the TLS handshake or the certificate check failed
    timeout,      // the connection or the whole request took too long
    closed,       // the connection ended before the answer was complete
    tooLarge,     // the answer is larger than kMaxResponseBytes
    unavailable,  // this process has no HTTP client
    failed,       // anything else
};

// "badRequest", "connect", "tls", "timeout", "closed", "tooLarge", "unavailable", "failed".
std::string_view httpErrorKindName(HttpErrorKind kind);

struct HttpError {
    HttpErrorKind kind = HttpErrorKind::failed;
    // Short and safe to log: it names at most the host, never the URL's path
    // or query (which may hold the user's text).
    std::string message;
};

using HttpResult = std::variant<HttpResponse, HttpError>;
using HttpReply = std::function<void(HttpResult result)>;

// A request under way; destroying it cancels the request.
class HttpTask {
  public:
    virtual ~HttpTask() = default;
};

class HttpClient {
  public:
    static constexpr double kConnectTimeout = 10;  // seconds
    static constexpr double kDefaultTimeout = 30;  // seconds, the whole request
    static constexpr std::size_t kMaxResponseBytes = 8 * 1024 * 1024;

    virtual ~HttpClient() = default;

    // Sends `request`; `reply` runs once, later, on the run loop (never inside
    // this call), unless the returned handle is destroyed first.
    [[nodiscard]] virtual std::unique_ptr<HttpTask> send(HttpRequest request, HttpReply reply) = 0;
};

// The host of an http(s) URL (no user, port or path); empty when there is none.
std::string httpHost(std::string_view url);
// Why `request` cannot be sent (an unsupported or malformed URL, a header
// with a line break, a GET with a body); absent when it can.
std::optional<HttpError> checkHttpRequest(const HttpRequest& request);
// The request's timeout in seconds, the default when it names none.
double httpTimeout(const HttpRequest& request);
// One line at info: method, host, sizes, status or error kind, seconds taken.
void logHttpOutcome(const Logger& log, const HttpRequest& request, const HttpResult& result,
                    double seconds);

// A handle whose request is already decided: `reply` gets `result` on the
// loop's next turn unless the handle is destroyed first.
std::unique_ptr<HttpTask> answerHttpLater(RunLoop& loop, HttpReply reply, HttpResult result);

// The client of a process that has none: every request fails as unavailable.
class UnavailableHttpClient final : public HttpClient {
  public:
    explicit UnavailableHttpClient(RunLoop& loop) : loop_(loop) {}

    [[nodiscard]] std::unique_ptr<HttpTask> send(HttpRequest request, HttpReply reply) override;

  private:
    RunLoop& loop_;
};

}  // namespace kernova
