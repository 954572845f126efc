// HTTP on the simulated device: no network, answers from a script. A test
// scripts answers by URL prefix, each used once in the order given, with a
// delay on the virtual clock; a request that finds none fails at once as a
// connect error. The client keeps to the real one's rules: an answer larger
// than HttpClient::kMaxResponseBytes fails as tooLarge, one that would come
// after the request's timeout fails as timeout at that time, and a bad request
// fails as badRequest. Every request is recorded, with what came of it.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "base/http.h"

namespace kernova::sim {

class SimHttpClient final : public HttpClient {
  public:
    enum class State { pending, answered, cancelled };
    struct Record {
        HttpRequest request;
        double sentAt = 0;  // virtual seconds
        State state = State::pending;
    };

    explicit SimHttpClient(RunLoop& loop);
    ~SimHttpClient() override;
    SimHttpClient(const SimHttpClient&) = delete;
    SimHttpClient& operator=(const SimHttpClient&) = delete;

    // The next request whose URL starts with `urlPrefix` gets `result`,
    // `delay` seconds after it was sent.
    void answer(std::string urlPrefix, HttpResult result, double delay = 0);
    // Every request sent, in order.
    const std::vector<Record>& requests() const;
    std::size_t pendingCount() const;

    [[nodiscard]] std::unique_ptr<HttpTask> send(HttpRequest request, HttpReply reply) override;

  private:
    struct State_;
    std::shared_ptr<State_> state_;
};

}  // namespace kernova::sim
