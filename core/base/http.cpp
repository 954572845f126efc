#include "base/http.h"

#include <array>
#include <cmath>
#include <cstdio>

#include "base/log.h"

namespace kernova {
namespace {

constexpr std::array<std::string_view, 8> kKindNames{
    "badRequest", "connect", "tls", "timeout", "closed", "tooLarge", "unavailable", "failed"};

char lower(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (lower(a[i]) != lower(b[i])) return false;
    }
    return true;
}

// The part after "http://" or "https://", absent for any other scheme.
std::optional<std::string_view> afterScheme(std::string_view url) {
    for (std::string_view scheme : {std::string_view("http://"), std::string_view("https://")}) {
        if (url.size() >= scheme.size() && equalsIgnoringCase(url.substr(0, scheme.size()), scheme))
            return url.substr(scheme.size());
    }
    return std::nullopt;
}

// RFC 9110 token characters.
bool isTokenChar(char c) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) return true;
    return std::string_view("!#$%&'*+-.^_`|~").find(c) != std::string_view::npos;
}

HttpError badRequest(std::string message) {
    return HttpError{HttpErrorKind::badRequest, std::move(message)};
}

class PostedTask final : public HttpTask {
  public:
    PostedTask(RunLoop& loop, HttpReply reply, HttpResult result) : loop_(loop) {
        timer_ = loop_.after(
            0, this, [reply = std::move(reply), result = std::move(result)] { reply(result); });
    }
    ~PostedTask() override { loop_.cancel(timer_); }

  private:
    RunLoop& loop_;
    TimerId timer_ = 0;
};

}  // namespace

HttpRequest httpGet(std::string url, HttpHeaders headers) {
    HttpRequest request;
    request.url = std::move(url);
    request.headers = std::move(headers);
    return request;
}

HttpRequest httpPost(std::string url, std::string body, HttpHeaders headers) {
    HttpRequest request = httpGet(std::move(url), std::move(headers));
    request.method = HttpMethod::post;
    request.body = std::move(body);
    return request;
}

std::optional<std::string> HttpResponse::header(std::string_view name) const {
    for (const auto& [key, value] : headers) {
        if (equalsIgnoringCase(key, name)) return value;
    }
    return std::nullopt;
}

std::string_view httpErrorKindName(HttpErrorKind kind) {
    auto index = static_cast<std::size_t>(kind);
    return index < kKindNames.size() ? kKindNames[index] : "failed";
}

std::string httpHost(std::string_view url) {
    std::optional<std::string_view> rest = afterScheme(url);
    if (!rest) return {};
    std::string_view authority = rest->substr(0, rest->find_first_of("/?#"));
    if (std::size_t at = authority.rfind('@'); at != std::string_view::npos)
        authority.remove_prefix(at + 1);
    if (authority.starts_with('[')) {
        std::size_t close = authority.find(']');
        return close == std::string_view::npos ? std::string()
                                               : std::string(authority.substr(0, close + 1));
    }
    return std::string(authority.substr(0, authority.find(':')));
}

std::optional<HttpError> checkHttpRequest(const HttpRequest& request) {
    if (!afterScheme(request.url)) return badRequest("not an http or https URL");
    for (char c : request.url) {
        auto byte = static_cast<unsigned char>(c);
        if (byte <= 0x20 || byte == 0x7f) return badRequest("the URL holds a space or control");
    }
    if (httpHost(request.url).empty()) return badRequest("the URL names no host");
    for (const auto& [name, value] : request.headers) {
        if (name.empty()) return badRequest("a header without a name");
        for (char c : name) {
            if (!isTokenChar(c)) return badRequest("a header name that is not a token");
        }
        if (value.find_first_of(std::string_view("\r\n\0", 3)) != std::string::npos)
            return badRequest("a header value with a line break");
    }
    if (request.method == HttpMethod::get && !request.body.empty())
        return badRequest("a GET with a body");
    return std::nullopt;
}

double httpTimeout(const HttpRequest& request) {
    return std::isfinite(request.timeout) && request.timeout > 0 ? request.timeout
                                                                 : HttpClient::kDefaultTimeout;
}

void logHttpOutcome(const Logger& log, const HttpRequest& request, const HttpResult& result,
                    double seconds) {
    if (!log.enabled(LogLevel::info)) return;
    std::string line = request.method == HttpMethod::post ? "POST " : "GET ";
    line += httpHost(request.url);
    if (request.method == HttpMethod::post)
        line += " (" + std::to_string(request.body.size()) + " bytes sent)";
    line += ": ";
    if (const auto* response = std::get_if<HttpResponse>(&result)) {
        line += "status " + std::to_string(response->status) + ", " +
                std::to_string(response->data.size()) + " bytes";
    } else {
        const auto& error = std::get<HttpError>(result);
        line += std::string(httpErrorKindName(error.kind)) + " (" + error.message + ")";
    }
    std::array<char, 32> took{};
    std::snprintf(took.data(), took.size(), " in %.3f s", seconds);
    line += took.data();
    log.info("http", line);
}

std::unique_ptr<HttpTask> answerHttpLater(RunLoop& loop, HttpReply reply, HttpResult result) {
    return std::make_unique<PostedTask>(loop, std::move(reply), std::move(result));
}

std::unique_ptr<HttpTask> UnavailableHttpClient::send(HttpRequest request, HttpReply reply) {
    (void)request;
    return answerHttpLater(
        loop_, std::move(reply),
        HttpError{HttpErrorKind::unavailable, "this process sends no HTTP requests"});
}

}  // namespace kernova
