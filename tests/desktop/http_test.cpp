// CurlHttpClient against a loopback HTTP server that the test runs on threads
// of its own: answers (any status, any bytes), what the server received,
// transport errors, the size limit and cancellation.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QTimer>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "base/log.h"
#include "desktop/curl_http_client.h"
#include "desktop/qt_run_loop.h"
#include "support_lib/temp_dir.h"

namespace kernova::desktop {
namespace {

constexpr std::size_t kMax = HttpClient::kMaxResponseBytes;

void sendAll(int fd, std::string_view bytes) {
    while (!bytes.empty()) {
        ssize_t n = ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (n <= 0) return;
        bytes.remove_prefix(static_cast<std::size_t>(n));
    }
}

std::string answer(int status, std::string_view body, std::string_view extraHeaders = "") {
    return "HTTP/1.1 " + std::to_string(status) +
           " X\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" +
           std::string(extraHeaders) + "\r\n" + std::string(body);
}

// One connection per request; the path chooses the answer.
class LoopbackServer {
  public:
    struct Received {
        std::string head;  // request line and headers
        std::string body;
    };

    LoopbackServer() {
        listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* a = reinterpret_cast<sockaddr*>(&address);
        if (::bind(listener_, a, sizeof address) != 0 || ::listen(listener_, 16) != 0 ||
            ::getsockname(listener_, a, &length) != 0)
            std::abort();
        port_ = ntohs(address.sin_port);
        acceptor_ = std::thread([this] { acceptLoop(); });
    }
    ~LoopbackServer() {
        stopping_ = true;
        ::shutdown(listener_, SHUT_RDWR);
        acceptor_.join();
        for (auto& t : handlers_)
            t.join();
        ::close(listener_);
    }

    std::string url(std::string_view path) const {
        return "http://127.0.0.1:" + std::to_string(port_) + std::string(path);
    }
    std::vector<Received> received() {
        std::lock_guard lock(mutex_);
        return received_;
    }
    int closedByClient() const { return closedByClient_; }

  private:
    void acceptLoop() {
        while (true) {
            int fd = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd < 0) return;
            handlers_.emplace_back([this, fd] {
                serve(fd);
                ::close(fd);
            });
        }
    }

    // Waits for the client to close (true) or the server to stop (false).
    bool waitForClose(int fd) {
        while (!stopping_) {
            pollfd p{fd, POLLIN, 0};
            if (::poll(&p, 1, 20) > 0) {
                char c;
                if (::recv(fd, &c, 1, 0) <= 0) return true;
            }
        }
        return false;
    }

    void serve(int fd) {
        std::string in;
        char buffer[65536];
        std::size_t headEnd;
        while ((headEnd = in.find("\r\n\r\n")) == std::string::npos) {
            ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
            if (n <= 0) return;
            in.append(buffer, static_cast<std::size_t>(n));
            if (in[0] == '\x16') {  // a TLS handshake: this server speaks plain HTTP only
                sendAll(fd, "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n");
                return;
            }
        }
        Received r{in.substr(0, headEnd), in.substr(headEnd + 4)};
        std::size_t length = 0;
        if (auto at = r.head.find("Content-Length: "); at != std::string::npos)
            length = std::stoul(r.head.substr(at + 16));
        while (r.body.size() < length) {
            ssize_t n = ::recv(fd, buffer, sizeof buffer, 0);
            if (n <= 0) return;
            r.body.append(buffer, static_cast<std::size_t>(n));
        }
        std::string path = r.head.substr(r.head.find(' ') + 1);
        path = path.substr(0, path.find(' '));
        {
            std::lock_guard lock(mutex_);
            received_.push_back(r);
        }
        if (path == "/echo") {
            sendAll(fd, answer(200, r.body));
        } else if (path.starts_with("/status/")) {
            sendAll(fd, answer(std::stoi(path.substr(8)), "oops", "Retry-After: 7\r\n"));
        } else if (path.starts_with("/delay/")) {
            std::this_thread::sleep_for(std::chrono::milliseconds(std::stoi(path.substr(7))));
            sendAll(fd, answer(200, path));
        } else if (path == "/bytes") {
            sendAll(fd, answer(200, std::string("\xff\xfe\0\x80 \xc3(", 7), "X-Kind: raw\r\n"));
        } else if (path == "/redirect") {
            sendAll(fd, answer(302, "", "Location: /bytes\r\nX-First: 1\r\n"));
        } else if (path == "/hang") {
            if (waitForClose(fd)) ++closedByClient_;
        } else if (path == "/truncated") {
            sendAll(fd, "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nonly ten b");
        } else if (path == "/exact") {
            sendAll(fd, answer(200, std::string(kMax, 'x')));
        } else if (path == "/huge") {
            sendAll(fd, answer(200, std::string(kMax + 1, 'x')));
        } else if (path == "/huge-unsized") {
            sendAll(fd, "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n");
            sendAll(fd, std::string(kMax + 1, 'x'));
        }
    }

    int listener_ = -1;
    int port_ = 0;
    std::atomic<bool> stopping_{false};
    std::atomic<int> closedByClient_{0};
    std::thread acceptor_;
    std::vector<std::thread> handlers_;  // touched by the acceptor only, joined after it
    std::mutex mutex_;
    std::vector<Received> received_;
};

bool waitFor(const std::function<bool()>& condition, int timeoutMs = 10000) {
    QDeadlineTimer deadline(timeoutMs);
    QEventLoop loop;
    while (!condition()) {
        if (deadline.hasExpired()) return false;
        loop.processEvents(QEventLoop::WaitForMoreEvents, 20);
    }
    return true;
}

// Lets the loop run for a moment, for what must not happen.
void spin(int ms) {
    QDeadlineTimer deadline(ms);
    while (!deadline.hasExpired())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}

// A run loop whose posted work waits until the test releases it.
struct HeldPosts final : RunLoop {
    explicit HeldPosts(RunLoop& l) : loop(l) {}
    double now() const override { return loop.now(); }
    void post(std::function<void()> fn) override { posted.push_back(std::move(fn)); }
    TimerId after(double delay, Owner owner, std::function<void()> fn) override {
        return loop.after(delay, owner, std::move(fn));
    }
    TimerId every(double interval, Owner owner, std::function<void()> fn) override {
        return loop.every(interval, owner, std::move(fn));
    }
    void cancel(TimerId id) override { loop.cancel(id); }
    void cancelAll(Owner owner) override { loop.cancelAll(owner); }
    void release() {
        for (auto& fn : posted)
            fn();
        posted.clear();
    }
    RunLoop& loop;
    std::vector<std::function<void()>> posted;
};

class CurlHttp : public ::testing::Test {
  protected:
    // Sends and waits for the result.
    HttpResult fetch(HttpRequest request) {
        std::optional<HttpResult> result;
        auto task = client.send(std::move(request), [&](HttpResult r) { result = std::move(r); });
        EXPECT_TRUE(waitFor([&] { return result.has_value(); }));
        return result.value_or(HttpError{});
    }
    HttpRequest get(const std::string& path, double timeout = 0) {
        HttpRequest request = httpGet(server.url(path));
        request.timeout = timeout;
        return request;
    }
    static HttpResponse response(const HttpResult& result) {
        if (const auto* e = std::get_if<HttpError>(&result))
            ADD_FAILURE() << httpErrorKindName(e->kind) << ": " << e->message;
        const auto* r = std::get_if<HttpResponse>(&result);
        return r != nullptr ? *r : HttpResponse{};
    }
    static std::string kindOf(const HttpResult& result) {
        const auto* e = std::get_if<HttpError>(&result);
        return e != nullptr ? std::string(httpErrorKindName(e->kind)) : "answer";
    }
    void expectIdle() {
        EXPECT_EQ(client.activeCount(), 0u);
        EXPECT_TRUE(waitFor([&] { return client.watchedSockets() == 0; }));
        EXPECT_FALSE(client.timerPending());
    }

    LoopbackServer server;
    QtRunLoop loop;
    Logger log{"test", LogLevel::error};
    CurlHttpClient client{loop, log};
};

bool libcurlMapped() {
    std::ifstream maps("/proc/self/maps");
    std::string line;
    while (std::getline(maps, line))
        if (line.find("libcurl") != std::string::npos) return true;
    return false;
}

TEST_F(CurlHttp, LibcurlIsLoadedAtTheFirstRequest) {
    if (libcurlMapped()) GTEST_SKIP() << "an earlier test in this process loaded it";
    spin(20);
    EXPECT_FALSE(libcurlMapped());
    fetch(get("/echo"));
    EXPECT_TRUE(libcurlMapped());
}

TEST_F(CurlHttp, EveryStatusIsAnAnswerWithItsHeadersAndBytes) {
    HttpResponse raw = response(fetch(get("/bytes")));
    EXPECT_EQ(raw.status, 200);
    EXPECT_EQ(raw.data, std::string("\xff\xfe\0\x80 \xc3(", 7)) << "bytes as sent, not repaired";
    EXPECT_EQ(raw.header("x-kind"), "raw");

    for (int status : {404, 429, 500, 503}) {
        HttpResponse r = response(fetch(get("/status/" + std::to_string(status))));
        EXPECT_EQ(r.status, status);
        EXPECT_EQ(r.data, "oops");
        EXPECT_EQ(r.header("Retry-After"), "7");
    }

    HttpResponse redirected = response(fetch(get("/redirect")));
    EXPECT_EQ(redirected.status, 200);
    EXPECT_EQ(redirected.data.size(), 7u);
    EXPECT_FALSE(redirected.header("X-First")) << "headers of the final answer only";
    expectIdle();
}

TEST_F(CurlHttp, PostBodyAndHeadersArriveAsGiven) {
    const std::string body("\x00\x01 name=\xe4\xb8\xad&\xff", 14);
    HttpResponse echoed = response(fetch(
        httpPost(server.url("/echo"), body,
                 {{"Content-Type", "application/x-form"}, {"X-Token", "a b:c"}, {"X-Empty", ""}})));
    EXPECT_EQ(echoed.data, body);
    fetch(get("/echo"));

    std::vector<LoopbackServer::Received> got = server.received();
    ASSERT_EQ(got.size(), 2u);
    EXPECT_TRUE(got[0].head.starts_with("POST /echo HTTP/1.1\r\n")) << got[0].head;
    EXPECT_EQ(got[0].body, body);
    for (const char* line : {"\r\nContent-Type: application/x-form", "\r\nX-Token: a b:c",
                             "\r\nX-Empty:", "\r\nContent-Length: 14"})
        EXPECT_NE(got[0].head.find(line), std::string::npos) << line;
    EXPECT_EQ(got[0].head.find("Expect:"), std::string::npos) << "no wait for 100-continue";
    EXPECT_TRUE(got[1].head.starts_with("GET /echo HTTP/1.1\r\n"));
    EXPECT_EQ(got[1].body, "");
}

TEST_F(CurlHttp, TransportFailuresAreErrorsOfTheirKind) {
    auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(kindOf(fetch(get("/hang", 0.3))), "timeout");
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(3));
    EXPECT_EQ(kindOf(fetch(get("/truncated"))), "closed");
    EXPECT_EQ(kindOf(fetch(get("/huge"))), "tooLarge");
    EXPECT_EQ(kindOf(fetch(get("/huge-unsized"))), "tooLarge");
    EXPECT_EQ(response(fetch(get("/exact"))).data.size(), kMax);

    // A port nobody listens on.
    int probe = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    ::bind(probe, reinterpret_cast<sockaddr*>(&address), sizeof address);
    ::getsockname(probe, reinterpret_cast<sockaddr*>(&address), &length);
    ::close(probe);
    std::string refused = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/";
    EXPECT_EQ(kindOf(fetch(httpGet(refused))), "connect");

    std::string https = server.url("/echo");
    https.insert(4, "s");
    EXPECT_EQ(kindOf(fetch(httpGet(https))), "tls");

    for (std::string bad : {"ftp://127.0.0.1/", "file:///etc/passwd", "http:///x", "http://a b/"})
        EXPECT_EQ(kindOf(fetch(httpGet(bad))), "badRequest") << bad;
    EXPECT_EQ(kindOf(fetch(httpGet(server.url("/echo"), {{"X", "a\r\nInjected: 1"}}))),
              "badRequest");
    expectIdle();
}

TEST_F(CurlHttp, RequestsRunSideBySideAndAnswerAsTheyFinish) {
    std::vector<std::string> order;
    std::vector<std::unique_ptr<HttpTask>> tasks;
    for (const char* path : {"/delay/300", "/delay/0", "/status/429", "/delay/100"}) {
        tasks.push_back(client.send(get(path), [&order, path](HttpResult r) {
            EXPECT_TRUE(std::holds_alternative<HttpResponse>(r));
            order.emplace_back(path);
        }));
    }
    EXPECT_TRUE(order.empty()) << "replies never run inside send";
    ASSERT_TRUE(waitFor([&] { return order.size() == 4; }));
    EXPECT_EQ(order.back(), "/delay/300");
    EXPECT_EQ(order[2], "/delay/100");
    expectIdle();
}

TEST_F(CurlHttp, CancelledRequestsNeverAnswer) {
    int replies = 0;
    auto hanging = client.send(get("/hang"), [&](HttpResult) { ++replies; });
    ASSERT_TRUE(waitFor([&] { return server.received().size() == 1; }));
    hanging.reset();
    EXPECT_TRUE(waitFor([&] { return server.closedByClient() == 1; })) << "connection dropped";
    expectIdle();

    // Answered, but the handle goes before the reply's turn.
    HeldPosts held(loop);
    CurlHttpClient heldClient(held, log);
    auto quick = heldClient.send(get("/echo"), [&](HttpResult) { ++replies; });
    ASSERT_TRUE(waitFor([&] { return held.posted.size() == 1; }));
    quick.reset();
    held.release();

    // A handle destroyed inside its own reply.
    std::unique_ptr<HttpTask> self;
    self = client.send(get("/echo"), [&](HttpResult) {
        ++replies;
        self.reset();
    });
    ASSERT_TRUE(waitFor([&] { return replies == 1; }));

    // The client goes with requests under way: they are cancelled, and their
    // handles may outlive it.
    auto survivor = std::make_unique<CurlHttpClient>(loop, log);
    auto orphan = survivor->send(get("/hang"), [&](HttpResult) { ++replies; });
    ASSERT_TRUE(waitFor([&] { return server.received().size() == 4; }));
    survivor.reset();
    EXPECT_TRUE(waitFor([&] { return server.closedByClient() == 2; }));
    orphan.reset();
    spin(100);
    EXPECT_EQ(replies, 1);
}

}  // namespace
}  // namespace kernova::desktop

int main(int argc, char** argv) {
    kernova::testing::TempDir prefs;
    kernova::testing::usePrivateEnvironment(prefs);
    // Requests go straight to the loopback server, whatever proxy the machine names.
    for (const char* proxy :
         {"http_proxy", "HTTP_PROXY", "https_proxy", "HTTPS_PROXY", "ALL_PROXY", "all_proxy"})
        ::unsetenv(proxy);
    ::testing::InitGoogleTest(&argc, argv);
    QCoreApplication app(argc, argv);
    return RUN_ALL_TESTS();
}
