// HTTP on the simulated device: answers scripted by URL prefix on the virtual
// clock, the record of requests, and the real client's rules (timeout, size
// limit, bad requests, cancellation).
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "sim/device.h"

namespace kernova::sim {
namespace {

struct SimHttp : ::testing::Test {
    // Sends through the process's context, as the code under test does.
    std::unique_ptr<HttpTask> send(HttpRequest request) {
        return device.server().context().http().send(std::move(request),
                                                     [this](HttpResult r) { result = r; });
    }
    std::string kind() const {
        if (!result) return "none";
        const auto* e = std::get_if<HttpError>(&*result);
        return e ? std::string(httpErrorKindName(e->kind)) : "answer";
    }

    Device device;
    SimHttpClient& http = device.server().http();
    std::optional<HttpResult> result;
};

TEST_F(SimHttp, ScriptedAnswersComeAfterTheirDelayInOrder) {
    http.answer("https://ocr.example/upload", HttpResponse{429, {{"Retry-After", "1"}}, "busy"});
    http.answer("https://ocr.example/", HttpResponse{200, {}, "first"}, 0.5);
    http.answer("https://ocr.example/", HttpResponse{200, {}, "second"});

    auto task = send(httpPost("https://ocr.example/upload?k=1", "png", {{"X-Key", "k"}}));
    EXPECT_FALSE(result) << "never inside send";
    device.runUntilIdle();
    ASSERT_EQ(kind(), "answer");
    EXPECT_EQ(std::get<HttpResponse>(*result).status, 429);

    result.reset();
    task = send(httpGet("https://ocr.example/text"));
    device.advance(0.49);
    EXPECT_FALSE(result);
    device.advance(0.01);
    EXPECT_EQ(std::get<HttpResponse>(result.value()).data, "first");

    task = send(httpGet("https://ocr.example/text"));
    device.runUntilIdle();
    EXPECT_EQ(std::get<HttpResponse>(result.value()).data, "second");
    task = send(httpGet("https://ocr.example/text"));
    device.runUntilIdle();
    EXPECT_EQ(kind(), "connect") << "the script is used up";

    // What was sent is read back by the OCR tests (tests/share).
    ASSERT_EQ(http.requests().size(), 4u);
    EXPECT_EQ(http.requests()[2].sentAt, 0.5);
    EXPECT_EQ(http.pendingCount(), 0u);
}

TEST_F(SimHttp, KeepsTheClientsLimits) {
    http.answer("http://slow/", HttpResponse{200, {}, "late"}, 61);
    HttpRequest upload = httpPost("http://slow/", "image");
    upload.timeout = 60;
    auto task = send(upload);
    device.advance(59.9);
    EXPECT_FALSE(result);
    device.advance(0.1);
    EXPECT_EQ(kind(), "timeout");

    http.answer("http://big/",
                HttpResponse{200, {}, std::string(HttpClient::kMaxResponseBytes + 1, 'x')});
    task = send(httpGet("http://big/"));
    device.runUntilIdle();
    EXPECT_EQ(kind(), "tooLarge");
}

TEST_F(SimHttp, CancelledRequestsNeverAnswer) {
    http.answer("http://a/", HttpResponse{200, {}, "a"}, 1);
    auto task = send(httpGet("http://a/"));
    EXPECT_EQ(http.pendingCount(), 1u);
    device.advance(0.5);
    task.reset();
    device.advance(2);
    EXPECT_FALSE(result);
    EXPECT_EQ(http.requests()[0].state, SimHttpClient::State::cancelled);

    // A process with no client wired fails every request, later.
    VirtualRunLoop loop(device.clock());
    SimSystemNotifications notifications(device.systemNotificationBus(), loop);
    Context bare(loop, notifications, device.paths());
    std::optional<HttpResult> none;
    auto t = bare.http().send(httpGet("http://a/"), [&](HttpResult r) { none = r; });
    device.runUntilIdle();
    ASSERT_TRUE(none);
    EXPECT_EQ(std::get<HttpError>(*none).kind, HttpErrorKind::unavailable);
}

}  // namespace
}  // namespace kernova::sim
