// CurlHttpClient against a loopback HTTP server on the same event loop:
// answers (any status, any bytes), what the server received, transport
// errors, the size limit and cancellation.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "base/log.h"
#include "desktop/curl_http_client.h"
#include "desktop/qt_run_loop.h"
#include "desktop_support.h"
#include "loopback_http.h"
#include "support_lib/temp_dir.h"

namespace kernova::desktop {
namespace {

using testing::LoopbackAnswer;
using testing::LoopbackRequest;
using testing::waitFor;

constexpr std::size_t kMax = HttpClient::kMaxResponseBytes;

QByteArray head(int status, std::size_t length, const char* headers = "") {
    return "HTTP/1.1 " + QByteArray::number(status) +
           " X\r\nContent-Length: " + QByteArray::number(qsizetype(length)) + "\r\n" + headers +
           "\r\n";
}

// The path chooses the answer.
LoopbackAnswer answerFor(const LoopbackRequest& request) {
    const std::string path = request.line.substr(
        request.line.find(' ') + 1, request.line.rfind(' ') - request.line.find(' ') - 1);
    const QByteArray raw("\xff\xfe\0\x80 \xc3(", 7);
    auto rawAnswer = [](QByteArray bytes) {
        return LoopbackAnswer{200, "", bytes, 0, false, true};
    };
    if (path == "/echo") return {200, "text/plain", request.body};
    if (path.starts_with("/status/"))
        return rawAnswer(head(std::stoi(path.substr(8)), 4, "Retry-After: 7\r\n") + "oops");
    if (path.starts_with("/delay/"))
        return {200, "text/plain", QByteArray::fromStdString(path), std::stoi(path.substr(7))};
    if (path == "/bytes") return rawAnswer(head(200, 7, "X-Kind: raw\r\n") + raw);
    if (path == "/redirect") return rawAnswer(head(302, 0, "Location: /bytes\r\nX-First: 1\r\n"));
    if (path == "/truncated") return rawAnswer(head(200, 100) + "only ten b");
    if (path == "/exact") return {200, "text/plain", QByteArray(qsizetype(kMax), 'x')};
    if (path == "/huge") return {200, "text/plain", QByteArray(qsizetype(kMax + 1), 'x')};
    if (path == "/huge-unsized")
        return rawAnswer("HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" +
                         QByteArray(qsizetype(kMax + 1), 'x'));
    return {200, "", {}, 0, true};
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
    RunLoop& loop;
    std::vector<std::function<void()>> posted;
};

class CurlHttp : public ::testing::Test {
  protected:
    // Sends and waits for the result: the answer's status and bytes, or the error's kind.
    HttpResult fetch(HttpRequest request) {
        std::optional<HttpResult> result;
        auto task = client.send(std::move(request), [&](HttpResult r) { result = std::move(r); });
        EXPECT_TRUE(waitFor([&] { return result.has_value(); }));
        return result.value_or(HttpError{});
    }
    HttpRequest get(const std::string& path, double timeout = 0) {
        HttpRequest request = httpGet(server.url(path.c_str()).toStdString());
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

    testing::LoopbackHttpServer server{answerFor};
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
    waitFor([] { return false; }, 20);
    EXPECT_FALSE(libcurlMapped());
    fetch(get("/echo"));
    EXPECT_TRUE(libcurlMapped());
}

TEST_F(CurlHttp, EveryStatusIsAnAnswerWithItsHeadersAndBytesAndPostsArriveAsGiven) {
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

    const std::string body("\x00\x01 name=\xe4\xb8\xad&\xff", 14);
    HttpResponse echoed = response(fetch(
        httpPost(server.url("/echo").toStdString(), body,
                 {{"Content-Type", "application/x-form"}, {"X-Token", "a b:c"}, {"X-Empty", ""}})));
    EXPECT_EQ(echoed.data, body);
    const LoopbackRequest& post = server.requests().back();
    EXPECT_EQ(post.line, "POST /echo HTTP/1.1");
    EXPECT_EQ(post.body.toStdString(), body);
    for (const char* line : {"\r\nContent-Type: application/x-form", "\r\nX-Token: a b:c",
                             "\r\nX-Empty:", "\r\nContent-Length: 14"})
        EXPECT_TRUE(post.head.contains(line)) << line;
    EXPECT_FALSE(post.head.contains("Expect:")) << "no wait for 100-continue";
    expectIdle();
}

TEST_F(CurlHttp, TransportFailuresAreErrorsOfTheirKind) {
    auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(kindOf(fetch(get("/hang", 0.3))), "timeout");
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(3));
    EXPECT_EQ(kindOf(fetch(get("/truncated"))), "closed");
    EXPECT_EQ(kindOf(fetch(get("/huge"))), "tooLarge");
    EXPECT_EQ(kindOf(fetch(get("/huge-unsized"))), "tooLarge");
    EXPECT_EQ(response(fetch(get("/exact"))).data.size(), kMax);

    QTcpServer closed;
    ASSERT_TRUE(closed.listen(QHostAddress::LocalHost));
    const std::string nowhere = "http://127.0.0.1:" + std::to_string(closed.serverPort()) + "/";
    closed.close();
    EXPECT_EQ(kindOf(fetch(httpGet(nowhere))), "connect");
    EXPECT_EQ(kindOf(fetch(httpGet("https" + server.url("/echo").toStdString().substr(4)))), "tls");
    // What cannot be sent never reaches curl.
    EXPECT_EQ(kindOf(fetch(httpGet("ftp://127.0.0.1/"))), "badRequest");
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
    ASSERT_TRUE(waitFor([&] { return server.requests().size() == 1; }));
    hanging.reset();
    EXPECT_TRUE(waitFor([&] { return server.dropped() == 1; })) << "connection dropped";
    expectIdle();

    // Answered, but the handle goes before the reply's turn.
    HeldPosts held(loop);
    CurlHttpClient heldClient(held, log);
    auto quick = heldClient.send(get("/echo"), [&](HttpResult) { ++replies; });
    ASSERT_TRUE(waitFor([&] { return held.posted.size() == 1; }));
    quick.reset();
    for (auto& fn : held.posted)
        fn();

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
    ASSERT_TRUE(waitFor([&] { return server.requests().size() == 4; }));
    survivor.reset();
    EXPECT_TRUE(waitFor([&] { return server.dropped() == 2; }));
    orphan.reset();
    waitFor([] { return false; }, 100);
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
