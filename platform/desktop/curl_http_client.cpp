#include "desktop/curl_http_client.h"

#include <curl/curl.h>
#include <dlfcn.h>

#include <QSocketNotifier>
#include <climits>
#include <cmath>
#include <map>
#include <string_view>

#include "base/log.h"

namespace kernova::desktop {
namespace {

// libcurl, loaded at the first request, so that kernovad maps it (and the TLS,
// HTTP/2 and other libraries under it) only once it sends one.
struct CurlApi {
    decltype(&::curl_global_init) globalInit;
    decltype(&::curl_global_cleanup) globalCleanup;
    decltype(&::curl_multi_init) multiInit;
    decltype(&::curl_multi_setopt) multiSetopt;
    decltype(&::curl_multi_cleanup) multiCleanup;
    decltype(&::curl_multi_add_handle) multiAdd;
    decltype(&::curl_multi_remove_handle) multiRemove;
    decltype(&::curl_multi_socket_action) multiSocketAction;
    decltype(&::curl_multi_info_read) multiInfoRead;
    decltype(&::curl_easy_init) easyInit;
    decltype(&::curl_easy_setopt) easySetopt;
    decltype(&::curl_easy_getinfo) easyGetinfo;
    decltype(&::curl_easy_cleanup) easyCleanup;
    decltype(&::curl_easy_strerror) easyStrerror;
    decltype(&::curl_slist_append) slistAppend;
    decltype(&::curl_slist_free_all) slistFreeAll;

    // False when the library or one of its functions is missing.
    bool load() {
        // Kept loaded: the TLS library under it does not support being unloaded.
        void* library = ::dlopen("libcurl.so.4", RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
        if (library == nullptr) return false;
        bool complete = true;
        auto bind = [&](auto& fn, const char* name) {
            fn = reinterpret_cast<std::remove_reference_t<decltype(fn)>>(::dlsym(library, name));
            complete = complete && fn != nullptr;
        };
        bind(globalInit, "curl_global_init");
        bind(globalCleanup, "curl_global_cleanup");
        bind(multiInit, "curl_multi_init");
        bind(multiSetopt, "curl_multi_setopt");
        bind(multiCleanup, "curl_multi_cleanup");
        bind(multiAdd, "curl_multi_add_handle");
        bind(multiRemove, "curl_multi_remove_handle");
        bind(multiSocketAction, "curl_multi_socket_action");
        bind(multiInfoRead, "curl_multi_info_read");
        bind(easyInit, "curl_easy_init");
        bind(easySetopt, "curl_easy_setopt");
        bind(easyGetinfo, "curl_easy_getinfo");
        bind(easyCleanup, "curl_easy_cleanup");
        bind(easyStrerror, "curl_easy_strerror");
        bind(slistAppend, "curl_slist_append");
        bind(slistFreeAll, "curl_slist_free_all");
        return complete;
    }
};

// What a request's handle shares with its transfer: the reply, dropped when
// the handle goes, so that a reply posted meanwhile finds nothing to call.
struct Pending {
    HttpReply reply;
};

struct Transfer {
    const CurlApi* curl = nullptr;
    CURL* easy = nullptr;
    curl_slist* headerList = nullptr;
    HttpRequest request;  // holds the body curl sends from
    HttpResponse response;
    std::size_t headerBytes = 0;
    bool tooLarge = false;
    double started = 0;
    std::shared_ptr<Pending> pending;

    ~Transfer() {
        if (easy != nullptr) curl->easyCleanup(easy);
        curl->slistFreeAll(headerList);
    }
};

std::string_view trim(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r' ||
                             text.back() == '\n'))
        text.remove_suffix(1);
    return text;
}

std::size_t onHeader(char* buffer, std::size_t size, std::size_t count, void* data) {
    auto& transfer = *static_cast<Transfer*>(data);
    const std::size_t n = size * count;
    transfer.headerBytes += n;
    if (transfer.headerBytes > HttpClient::kMaxResponseBytes) {
        transfer.tooLarge = true;
        return 0;
    }
    std::string_view line(buffer, n);
    if (line.starts_with("HTTP/")) {
        // A new answer begins (after a redirect or an interim answer).
        transfer.response.headers.clear();
        return n;
    }
    std::size_t colon = line.find(':');
    if (colon == std::string_view::npos || colon == 0) return n;
    transfer.response.headers.emplace_back(std::string(trim(line.substr(0, colon))),
                                           std::string(trim(line.substr(colon + 1))));
    return n;
}

std::size_t onData(char* buffer, std::size_t size, std::size_t count, void* data) {
    auto& transfer = *static_cast<Transfer*>(data);
    const std::size_t n = size * count;
    if (transfer.response.data.size() + n > HttpClient::kMaxResponseBytes) {
        transfer.tooLarge = true;
        return 0;  // curl ends the transfer with a write error
    }
    transfer.response.data.append(buffer, n);
    return n;
}

HttpErrorKind errorKind(CURLcode code, bool tooLarge) {
    if (tooLarge) return HttpErrorKind::tooLarge;
    switch (code) {
        case CURLE_URL_MALFORMAT:
        case CURLE_UNSUPPORTED_PROTOCOL:
            return HttpErrorKind::badRequest;
        case CURLE_COULDNT_RESOLVE_PROXY:
        case CURLE_COULDNT_RESOLVE_HOST:
        case CURLE_COULDNT_CONNECT:
            return HttpErrorKind::connect;
        case CURLE_OPERATION_TIMEDOUT:
            return HttpErrorKind::timeout;
        case CURLE_PARTIAL_FILE:
        case CURLE_GOT_NOTHING:
        case CURLE_SEND_ERROR:
        case CURLE_RECV_ERROR:
        case CURLE_HTTP2:
        case CURLE_HTTP2_STREAM:
            return HttpErrorKind::closed;
        case CURLE_FILESIZE_EXCEEDED:
            return HttpErrorKind::tooLarge;
        case CURLE_SSL_CONNECT_ERROR:
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_ENGINE_NOTFOUND:
        case CURLE_SSL_ENGINE_SETFAILED:
        case CURLE_SSL_CERTPROBLEM:
        case CURLE_SSL_CIPHER:
        case CURLE_SSL_ENGINE_INITFAILED:
        case CURLE_USE_SSL_FAILED:
        case CURLE_SSL_CACERT_BADFILE:
        case CURLE_SSL_SHUTDOWN_FAILED:
        case CURLE_SSL_CRL_BADFILE:
        case CURLE_SSL_ISSUER_ERROR:
        case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
        case CURLE_SSL_INVALIDCERTSTATUS:
        case CURLE_SSL_CLIENTCERT:
            return HttpErrorKind::tls;
        default:
            return HttpErrorKind::failed;
    }
}

HttpResult resultOf(Transfer& transfer, CURLcode code) {
    if (code == CURLE_OK) {
        long status = 0;
        transfer.curl->easyGetinfo(transfer.easy, CURLINFO_RESPONSE_CODE, &status);
        transfer.response.status = static_cast<int>(status);
        return std::move(transfer.response);
    }
    HttpErrorKind kind = errorKind(code, transfer.tooLarge);
    return HttpError{kind, kind == HttpErrorKind::tooLarge
                               ? std::string("the answer is too large")
                               : std::string(transfer.curl->easyStrerror(code))};
}

long milliseconds(double seconds) {
    double ms = std::ceil(seconds * 1000);
    return ms >= static_cast<double>(INT_MAX) ? INT_MAX : static_cast<long>(ms);
}

}  // namespace

struct CurlHttpClient::Impl {
    struct Watch {
        QSocketNotifier* read = nullptr;
        QSocketNotifier* write = nullptr;
    };

    Impl(RunLoop& l, const Logger& lg) : loop(l), log(lg) {}

    // curl (and the TLS library under it) is set up at the first request, so
    // that a process that sends none pays nothing for it.
    bool start() {
        if (multi != nullptr) return true;
        if (!loaded) {
            if (!curl.load()) return false;
            loaded = true;
        }
        if (!globalInit) {
            if (curl.globalInit(CURL_GLOBAL_DEFAULT) != CURLE_OK) return false;
            globalInit = true;
        }
        multi = curl.multiInit();
        if (multi == nullptr) return false;
        curl.multiSetopt(multi, CURLMOPT_SOCKETFUNCTION, &Impl::onSocket);
        curl.multiSetopt(multi, CURLMOPT_SOCKETDATA, this);
        curl.multiSetopt(multi, CURLMOPT_TIMERFUNCTION, &Impl::onTimer);
        curl.multiSetopt(multi, CURLMOPT_TIMERDATA, this);
        return true;
    }

    ~Impl() {
        // Every request still under way is cancelled: no reply runs.
        for (auto& [easy, transfer] : transfers) {
            transfer->pending->reply = nullptr;
            curl.multiRemove(multi, easy);
        }
        transfers.clear();
        loop.cancelAll(this);
        if (multi != nullptr) curl.multiCleanup(multi);
        for (auto& [socket, watch] : sockets) {
            delete watch.read;
            delete watch.write;
        }
        if (globalInit) curl.globalCleanup();
    }

    static int onSocket(CURL* easy, curl_socket_t socket, int what, void* data, void* socketData) {
        (void)easy;
        (void)socketData;
        static_cast<Impl*>(data)->watch(socket, what);
        return 0;
    }

    static int onTimer(CURLM* multi, long ms, void* data) {
        (void)multi;
        auto* impl = static_cast<Impl*>(data);
        impl->loop.cancel(impl->timer);
        impl->timer = 0;
        if (ms >= 0) {
            // Never act inside curl's call: the timer runs on a later turn.
            impl->timer = impl->loop.after(static_cast<double>(ms) / 1000, impl, [impl] {
                impl->timer = 0;
                impl->act(CURL_SOCKET_TIMEOUT, 0);
            });
        }
        return 0;
    }

    void dispose(QSocketNotifier*& notifier) {
        if (notifier == nullptr) return;
        notifier->setEnabled(false);
        // A notifier cannot be deleted while it emits.
        if (notifier == emitting)
            notifier->deleteLater();
        else
            delete notifier;
        notifier = nullptr;
    }

    QSocketNotifier* notifier(curl_socket_t socket, QSocketNotifier::Type type, int flag) {
        auto* n = new QSocketNotifier(socket, type);
        QObject::connect(n, &QSocketNotifier::activated, n, [this, n, socket, flag] {
            QSocketNotifier* outer = emitting;
            emitting = n;
            act(socket, flag);
            emitting = outer;
        });
        return n;
    }

    void watch(curl_socket_t socket, int what) {
        if (what == CURL_POLL_REMOVE) {
            auto it = sockets.find(socket);
            if (it == sockets.end()) return;
            dispose(it->second.read);
            dispose(it->second.write);
            sockets.erase(it);
            return;
        }
        Watch& w = sockets[socket];
        const bool reading = (what & CURL_POLL_IN) != 0;
        const bool writing = (what & CURL_POLL_OUT) != 0;
        if (reading && w.read == nullptr)
            w.read = notifier(socket, QSocketNotifier::Read, CURL_CSELECT_IN);
        if (writing && w.write == nullptr)
            w.write = notifier(socket, QSocketNotifier::Write, CURL_CSELECT_OUT);
        if (w.read != nullptr) w.read->setEnabled(reading);
        if (w.write != nullptr) w.write->setEnabled(writing);
    }

    void act(curl_socket_t socket, int flags) {
        int running = 0;
        curl.multiSocketAction(multi, socket, flags, &running);
        finishDone();
    }

    void finishDone() {
        int left = 0;
        while (CURLMsg* message = curl.multiInfoRead(multi, &left)) {
            if (message->msg != CURLMSG_DONE) continue;
            CURL* easy = message->easy_handle;
            const CURLcode code = message->data.result;
            auto it = transfers.find(easy);
            if (it == transfers.end()) continue;
            std::unique_ptr<Transfer> transfer = std::move(it->second);
            transfers.erase(it);
            curl.multiRemove(multi, easy);
            HttpResult result = resultOf(*transfer, code);
            logHttpOutcome(log, transfer->request, result, loop.now() - transfer->started);
            loop.post([pending = transfer->pending, result = std::move(result)]() mutable {
                if (!pending->reply) return;
                HttpReply reply = std::move(pending->reply);
                pending->reply = nullptr;
                reply(std::move(result));
            });
        }
    }

    void cancel(CURL* easy, const std::shared_ptr<Pending>& pending) {
        auto it = transfers.find(easy);
        if (it == transfers.end() || it->second->pending != pending) return;
        curl.multiRemove(multi, easy);
        if (log.enabled(LogLevel::debug))
            log.debug("http", "cancelled a request to " + httpHost(it->second->request.url));
        transfers.erase(it);
    }

    RunLoop& loop;
    const Logger& log;
    CURLM* multi = nullptr;
    std::map<CURL*, std::unique_ptr<Transfer>> transfers;
    std::map<curl_socket_t, Watch> sockets;
    QSocketNotifier* emitting = nullptr;
    TimerId timer = 0;
    CurlApi curl{};
    bool loaded = false;
    bool globalInit = false;
};

namespace {

class CurlTask final : public HttpTask {
  public:
    CurlTask(std::weak_ptr<CurlHttpClient::Impl> impl, CURL* easy, std::shared_ptr<Pending> pending)
        : impl_(std::move(impl)), easy_(easy), pending_(std::move(pending)) {}
    ~CurlTask() override {
        pending_->reply = nullptr;
        if (auto impl = impl_.lock()) impl->cancel(easy_, pending_);
    }

  private:
    std::weak_ptr<CurlHttpClient::Impl> impl_;
    CURL* easy_;
    std::shared_ptr<Pending> pending_;
};

// The header list curl sends: the caller's, without curl's "Expect:
// 100-continue" wait before a large body.
curl_slist* headerList(const CurlApi& curl, const HttpHeaders& headers) {
    curl_slist* list = nullptr;
    auto append = [&](const std::string& line) {
        if (curl_slist* grown = curl.slistAppend(list, line.c_str())) list = grown;
    };
    for (const auto& [name, value] : headers) {
        // "Name;" is how curl sends a header with an empty value.
        append(value.empty() ? name + ";" : name + ": " + value);
    }
    append("Expect:");
    return list;
}

}  // namespace

CurlHttpClient::CurlHttpClient(RunLoop& loop, const Logger& log)
    : impl_(std::make_shared<Impl>(loop, log)) {}

CurlHttpClient::~CurlHttpClient() = default;

std::unique_ptr<HttpTask> CurlHttpClient::send(HttpRequest request, HttpReply reply) {
    Impl& impl = *impl_;
    if (std::optional<HttpError> bad = checkHttpRequest(request)) {
        logHttpOutcome(impl.log, request, *bad, 0);
        return answerHttpLater(impl.loop, std::move(reply), std::move(*bad));
    }
    if (!impl.start()) {
        HttpError error{HttpErrorKind::unavailable, "libcurl cannot be loaded"};
        logHttpOutcome(impl.log, request, error, 0);
        return answerHttpLater(impl.loop, std::move(reply), std::move(error));
    }
    const CurlApi& curl = impl.curl;
    auto transfer = std::make_unique<Transfer>();
    transfer->curl = &curl;
    transfer->easy = curl.easyInit();
    if (transfer->easy == nullptr) {
        return answerHttpLater(impl.loop, std::move(reply),
                               HttpError{HttpErrorKind::failed, "cannot start a transfer"});
    }
    CURL* easy = transfer->easy;
    transfer->request = std::move(request);
    transfer->started = impl.loop.now();
    transfer->pending = std::make_shared<Pending>(Pending{std::move(reply)});
    transfer->headerList = headerList(curl, transfer->request.headers);
    const HttpRequest& r = transfer->request;
    auto set = [&](CURLoption option, auto value) { curl.easySetopt(easy, option, value); };

    set(CURLOPT_URL, r.url.c_str());
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    set(CURLOPT_FOLLOWLOCATION, 1L);
    set(CURLOPT_MAXREDIRS, 5L);
    set(CURLOPT_SSL_VERIFYPEER, 1L);
    set(CURLOPT_SSL_VERIFYHOST, 2L);
    set(CURLOPT_CONNECTTIMEOUT_MS, milliseconds(kConnectTimeout));
    set(CURLOPT_TIMEOUT_MS, milliseconds(httpTimeout(r)));
    set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(HttpClient::kMaxResponseBytes));
    set(CURLOPT_ACCEPT_ENCODING, "");
    set(CURLOPT_USERAGENT, "Kernova");
    set(CURLOPT_HTTPHEADER, transfer->headerList);
    set(CURLOPT_HEADERFUNCTION, &onHeader);
    set(CURLOPT_HEADERDATA, transfer.get());
    set(CURLOPT_WRITEFUNCTION, &onData);
    set(CURLOPT_WRITEDATA, transfer.get());
    if (r.method == HttpMethod::post) {
        set(CURLOPT_POST, 1L);
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(r.body.size()));
        set(CURLOPT_POSTFIELDS, r.body.data());
    }

    std::shared_ptr<Pending> pending = transfer->pending;
    if (curl.multiAdd(impl.multi, easy) != CURLM_OK) {
        HttpReply failed = std::move(pending->reply);
        return answerHttpLater(impl.loop, std::move(failed),
                               HttpError{HttpErrorKind::failed, "cannot start a transfer"});
    }
    impl.transfers.emplace(easy, std::move(transfer));
    return std::make_unique<CurlTask>(impl_, easy, std::move(pending));
}

std::size_t CurlHttpClient::activeCount() const {
    return impl_->transfers.size();
}

std::size_t CurlHttpClient::watchedSockets() const {
    return impl_->sockets.size();
}

bool CurlHttpClient::timerPending() const {
    return impl_->timer != 0;
}

}  // namespace kernova::desktop
