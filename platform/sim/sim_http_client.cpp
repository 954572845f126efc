#include "sim/sim_http_client.h"

#include <algorithm>
#include <deque>

namespace kernova::sim {

struct SimHttpClient::State_ {
    struct Scripted {
        std::string urlPrefix;
        HttpResult result;
        double delay;
    };

    explicit State_(RunLoop& l) : loop(l) {}
    RunLoop& loop;
    std::deque<Scripted> script;
    std::vector<Record> records;
};

namespace {

class SimTask final : public HttpTask {
  public:
    using State = SimHttpClient::State;
    SimTask(std::weak_ptr<void> alive, RunLoop& loop, std::vector<SimHttpClient::Record>& records,
            std::size_t index)
        : alive_(std::move(alive)), loop_(loop), records_(records), index_(index) {}
    ~SimTask() override {
        if (alive_.expired()) return;
        loop_.cancel(timer_);
        if (records_[index_].state == State::pending) records_[index_].state = State::cancelled;
    }
    void setTimer(TimerId timer) { timer_ = timer; }

  private:
    std::weak_ptr<void> alive_;
    RunLoop& loop_;
    std::vector<SimHttpClient::Record>& records_;
    std::size_t index_;
    TimerId timer_ = 0;
};

}  // namespace

SimHttpClient::SimHttpClient(RunLoop& loop) : state_(std::make_shared<State_>(loop)) {}

SimHttpClient::~SimHttpClient() {
    state_->loop.cancelAll(state_.get());
    for (Record& record : state_->records) {
        if (record.state == State::pending) record.state = State::cancelled;
    }
}

void SimHttpClient::answer(std::string urlPrefix, HttpResult result, double delay) {
    state_->script.push_back({std::move(urlPrefix), std::move(result), delay});
}

const std::vector<SimHttpClient::Record>& SimHttpClient::requests() const {
    return state_->records;
}

std::size_t SimHttpClient::pendingCount() const {
    return static_cast<std::size_t>(
        std::count_if(state_->records.begin(), state_->records.end(),
                      [](const Record& r) { return r.state == State::pending; }));
}

std::unique_ptr<HttpTask> SimHttpClient::send(HttpRequest request, HttpReply reply) {
    State_& s = *state_;
    const std::size_t index = s.records.size();
    const double timeout = httpTimeout(request);
    HttpResult result = HttpError{HttpErrorKind::connect, "no answer scripted"};
    double delay = 0;
    if (std::optional<HttpError> bad = checkHttpRequest(request)) {
        result = std::move(*bad);
    } else {
        auto it = std::find_if(s.script.begin(), s.script.end(), [&](const auto& scripted) {
            return request.url.starts_with(scripted.urlPrefix);
        });
        if (it != s.script.end()) {
            result = std::move(it->result);
            delay = std::max(0.0, it->delay);
            s.script.erase(it);
        }
    }
    if (const auto* response = std::get_if<HttpResponse>(&result);
        response != nullptr && response->data.size() > kMaxResponseBytes) {
        result = HttpError{HttpErrorKind::tooLarge, "the answer is too large"};
    }
    if (delay >= timeout) {
        result = HttpError{HttpErrorKind::timeout, "no answer in time"};
        delay = timeout;
    }
    s.records.push_back({std::move(request), s.loop.now(), State::pending});
    auto task = std::make_unique<SimTask>(state_, s.loop, s.records, index);
    task->setTimer(s.loop.after(delay, state_.get(),
                                [&s, index, reply = std::move(reply), result = std::move(result)] {
                                    s.records[index].state = State::answered;
                                    reply(result);
                                }));
    return task;
}

}  // namespace kernova::sim
