// What every HTTP client shares: which requests can be sent, the host named in
// logs, and the log line, which never carries the URL's path or query.
#include "base/http.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/log.h"

namespace kernova {
namespace {

TEST(Http, RequestsThatCannotBeSentAreRefused) {
    for (const char* url : {"http://example.com", "HTTPS://user:pw@[::1]:8443/p?q=%E4#f"})
        EXPECT_FALSE(checkHttpRequest(httpGet(url))) << url;
    for (const char* url : {"", "ftp://example.com/", "example.com/x", "http://", "http:///x",
                            "http://a b/", "http://a/\n", "http://@:80/"})
        EXPECT_TRUE(checkHttpRequest(httpGet(url))) << url;
    EXPECT_TRUE(checkHttpRequest(httpGet("http://a/", {{"Bad Name", "v"}})));
    EXPECT_TRUE(checkHttpRequest(httpGet("http://a/", {{"X", "v\r\nInjected: 1"}})));
    HttpRequest getWithBody = httpGet("http://a/");
    getWithBody.body = "x";
    EXPECT_EQ(checkHttpRequest(getWithBody)->kind, HttpErrorKind::badRequest);

    EXPECT_EQ(httpHost("https://user:pw@Example.com:8443/a@b"), "Example.com");
    EXPECT_EQ(httpHost("http://[::1]:80/"), "[::1]");

    HttpRequest r = httpGet("http://a/");
    EXPECT_EQ(httpTimeout(r), HttpClient::kDefaultTimeout);
    r.timeout = 60;
    EXPECT_EQ(httpTimeout(r), 60);
    r.timeout = -1;
    EXPECT_EQ(httpTimeout(r), HttpClient::kDefaultTimeout);
}

TEST(Http, TheLogNamesHostAndSizesOnly) {
    Logger log("test", LogLevel::info);
    std::vector<std::string> lines;
    log.setSink([&](LogLevel, std::string_view line) { lines.emplace_back(line); });
    HttpRequest request = httpPost("https://api.example/translate?q=secret+words", "secret body");
    logHttpOutcome(log, request, HttpResponse{429, {}, "busy"}, 0.25);
    logHttpOutcome(log, request, HttpError{HttpErrorKind::timeout, "Timeout was reached"}, 30);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0],
              "test: info: http: POST api.example (11 bytes sent): status 429, 4 bytes in 0.250 s");
    EXPECT_EQ(lines[1],
              "test: info: http: POST api.example (11 bytes sent): timeout (Timeout was reached) "
              "in 30.000 s");

    HttpResponse response{200, {{"Content-Type", "a"}, {"content-type", "b"}}, ""};
    EXPECT_EQ(response.header("CONTENT-TYPE"), "a");
    EXPECT_FALSE(response.header("Content"));
}

}  // namespace
}  // namespace kernova
