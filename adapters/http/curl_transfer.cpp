#include "adapters/http/curl_transfer.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <strings.h>
#include <sys/socket.h>
#include <utility>

#include "adapters/http/curl_http_client.h"

namespace tolvik {
namespace {

bool isToken(std::string_view text) {
    constexpr std::string_view others = "!#$%&'*+-.^_`|~";
    return !text.empty() && std::ranges::all_of(text, [&](char c) {
        return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
               others.find(c) != std::string_view::npos;
    });
}

bool isFieldValue(std::string_view text) {
    return std::ranges::none_of(text, [](char c) { return c == '\r' || c == '\n' || c == '\0'; });
}

bool hasField(const HttpHeaders& headers, std::string_view name) {
    return findHeader(headers, name).has_value();
}

curl_socket_t openSocket(void*, curlsocktype, curl_sockaddr* address) {
    // Not for the processes that are started meanwhile.
    return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

/// For the user; libcurl's own messages name files and addresses.
std::string describe(CURLcode code) {
    switch (code) {
        case CURLE_COULDNT_RESOLVE_HOST:
            return "the server's name could not be found";
        case CURLE_COULDNT_RESOLVE_PROXY:
            return "the proxy's name could not be found";
        case CURLE_COULDNT_CONNECT:
            return "the server could not be reached";
        case CURLE_OPERATION_TIMEDOUT:
            return "the server did not answer in time";
        case CURLE_PEER_FAILED_VERIFICATION:
        case CURLE_SSL_ISSUER_ERROR:
            return "the server's certificate is not trusted";
        case CURLE_SSL_CACERT_BADFILE:
            return "the file with the trusted certificates cannot be read";
        case CURLE_SSL_CONNECT_ERROR:
            return "no secure connection to the server could be made";
        case CURLE_GOT_NOTHING:
        case CURLE_RECV_ERROR:
        case CURLE_SEND_ERROR:
        case CURLE_PARTIAL_FILE:
            return "the connection to the server broke off";
        case CURLE_UNSUPPORTED_PROTOCOL:
        case CURLE_WEIRD_SERVER_REPLY:
            return "the server's answer was not HTTP";
        default:
            return curl_easy_strerror(code);
    }
}

std::string_view withoutBlanks(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

}  // namespace

std::optional<HttpFailure> refusalOf(const HttpRequest& request) {
    const auto refused = [](const char* why) { return HttpFailure{HttpFailure::Kind::invalidUrl, why}; };
    const bool isHttp =
        ::strncasecmp(request.url.c_str(), "http://", 7) == 0 || ::strncasecmp(request.url.c_str(), "https://", 8) == 0;
    const std::unique_ptr<CURLU, void (*)(CURLU*)> parsed(curl_url(), curl_url_cleanup);
    if (!isHttp || request.url.find('\0') != std::string::npos ||
        curl_url_set(parsed.get(), CURLUPART_URL, request.url.c_str(), CURLU_PATH_AS_IS) != CURLUE_OK) {
        return refused("the address is not a web address");
    }
    if (!isToken(request.method) || std::ranges::any_of(request.headers, [](const auto& field) {
            return !isToken(field.first) || !isFieldValue(field.second);
        })) {
        return refused("the request has a field that cannot be sent");
    }
    return std::nullopt;
}

CurlTransfer::~CurlTransfer() {
    if (easy_ != nullptr) {
        curl_easy_cleanup(easy_);
    }
    curl_slist_free_all(fields_);
}

void CurlTransfer::abandon() {
    abandoned_ = true;
    done_ = nullptr;
    handlers_ = {};
}

CURL* CurlTransfer::prepare() {
    easy_ = curl_easy_init();
    if (easy_ == nullptr) {
        return nullptr;
    }
    const auto set = [this](CURLoption option, auto value) { curl_easy_setopt(easy_, option, value); };
    const auto add = [this](const std::string& field) { fields_ = curl_slist_append(fields_, field.c_str()); };
    set(CURLOPT_PRIVATE, static_cast<void*>(this));
    set(CURLOPT_URL, request_.url.c_str());
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_PATH_AS_IS, 1L);
    set(CURLOPT_FOLLOWLOCATION, 0L);
    set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    if (const char* authorities = std::getenv("SSL_CERT_FILE"); authorities != nullptr && *authorities != '\0') {
        set(CURLOPT_CAINFO, authorities);
        set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    }
    // A proxy learns where to connect, not what is sent there.
    set(CURLOPT_HEADEROPT, static_cast<long>(CURLHEADER_SEPARATE));
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    set(CURLOPT_NOSIGNAL, 1L);
    set(CURLOPT_QUICK_EXIT, 1L);
    set(CURLOPT_TCP_KEEPALIVE, 1L);
    set(CURLOPT_OPENSOCKETFUNCTION, &openSocket);
    set(CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(request_.timeout.count()));
    if (const Millis longest = isStream_ ? request_.lifetime : request_.timeout; longest > Millis{0}) {
        set(CURLOPT_TIMEOUT_MS, static_cast<long>(longest.count()));
    }
    if (!isStream_) {
        set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(CurlHttpClient::maxBody));
    }

    if (request_.method == "HEAD") {
        set(CURLOPT_NOBODY, 1L);
    } else if (request_.body || request_.method == "POST") {
        set(CURLOPT_POST, 1L);
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request_.body ? request_.body->size() : 0));
        set(CURLOPT_POSTFIELDS, request_.body ? request_.body->data() : "");
    }
    set(CURLOPT_CUSTOMREQUEST, request_.method.c_str());
    for (const auto& [name, value] : request_.headers) {
        std::string line = name;
        line += value.empty() ? ";" : ": ";
        line += value;
        add(line);
    }
    // What libcurl would add by itself.
    for (const char* name : {"Accept", "Expect", "Content-Type"}) {
        if (!hasField(request_.headers, name)) {
            add(std::string(name) + ":");
        }
    }
    set(CURLOPT_HTTPHEADER, fields_);
    set(CURLOPT_WRITEFUNCTION, &CurlTransfer::takeBody);
    set(CURLOPT_WRITEDATA, static_cast<void*>(this));
    set(CURLOPT_HEADERFUNCTION, &CurlTransfer::takeHeader);
    set(CURLOPT_HEADERDATA, static_cast<void*>(this));
    lastHeard_ = Clock::now();
    return easy_;
}

void CurlTransfer::post(std::function<void(CurlTransfer&)> call) {
    if (!abandoned_) {
        loop_.post([self = shared_from_this(), call = std::move(call)] {
            if (!self->abandoned_) {
                call(*self);
            }
        });
    }
}

std::size_t CurlTransfer::takeHeader(char* bytes, std::size_t size, std::size_t count, void* context) {
    auto& self = *static_cast<CurlTransfer*>(context);
    const std::string_view line(bytes, size * count);
    self.lastHeard_ = Clock::now();
    self.headerBytes_ += line.size();
    if (self.headerBytes_ > CurlHttpClient::maxHeaders) {
        self.tooLarge_ = true;
        return CURL_WRITEFUNC_ERROR;
    }
    if (line.starts_with("HTTP/")) {
        self.response_.headers.clear();
    } else if (const auto colon = line.find(':'); colon != std::string_view::npos) {
        self.response_.headers.emplace_back(line.substr(0, colon), withoutBlanks(line.substr(colon + 1)));
    } else if (withoutBlanks(line).empty()) {
        self.endOfHeaders();
    }
    return line.size();
}

void CurlTransfer::endOfHeaders() {
    long status = 0;
    curl_easy_getinfo(easy_, CURLINFO_RESPONSE_CODE, &status);
    response_.status = static_cast<int>(status);
    // A 1xx is not the answer yet.
    if (isStream_ && status >= 200 && !std::exchange(announced_, true)) {
        post([response = response_](CurlTransfer& self) {
            if (const auto call = self.handlers_.onResponse) {
                call(response);
            }
        });
    }
}

std::size_t CurlTransfer::takeBody(char* bytes, std::size_t size, std::size_t count, void* context) {
    auto& self = *static_cast<CurlTransfer*>(context);
    const std::string_view chunk(bytes, size * count);
    self.lastHeard_ = Clock::now();
    if (self.isStream_) {
        return self.takeStreamed(chunk);
    }
    if (self.response_.body.size() + chunk.size() > CurlHttpClient::maxBody) {
        self.tooLarge_ = true;
        return CURL_WRITEFUNC_ERROR;
    }
    self.response_.body.append(chunk);
    return chunk.size();
}

std::size_t CurlTransfer::takeStreamed(std::string_view bytes) {
    if (unread_ > CurlHttpClient::maxUnread) {
        paused_ = true;
        // The reader may have caught up between the two.
        if (unread_ > CurlHttpClient::maxUnread || !paused_.exchange(false)) {
            return CURL_WRITEFUNC_PAUSE;
        }
    }
    unread_ += bytes.size();
    post([data = std::string(bytes)](CurlTransfer& self) {
        if (const auto call = self.handlers_.onData) {
            call(data);
        }
        const std::size_t left = self.unread_ -= data.size();
        if (!self.abandoned_ && left < CurlHttpClient::maxUnread / 2 && self.paused_.exchange(false) &&
            self.onCaughtUp) {
            self.onCaughtUp();
        }
    });
    return bytes.size();
}

void CurlTransfer::resume() {
    lastHeard_ = Clock::now();
    curl_easy_pause(easy_, CURLPAUSE_CONT);
}

std::optional<CurlTransfer::Clock::time_point> CurlTransfer::silenceEnds() const {
    if (!isStream_ || paused_) {
        return std::nullopt;
    }
    return lastHeard_ + request_.timeout;
}

void CurlTransfer::finishSilent() {
    deliver({HttpFailure::Kind::transport, "the server fell silent"});
}

void CurlTransfer::finish(CURLcode code) {
    if (tooLarge_ || code == CURLE_FILESIZE_EXCEEDED) {
        deliver({HttpFailure::Kind::tooLarge, "the server's answer is too large"});
    } else if (code == CURLE_URL_MALFORMAT) {
        deliver({HttpFailure::Kind::invalidUrl, "the address is not a web address"});
    } else if (code != CURLE_OK) {
        deliver({HttpFailure::Kind::transport, describe(code)});
    } else if (isStream_) {
        post([](CurlTransfer& self) {
            if (const auto call = std::exchange(self.handlers_, {}).onEnd) {
                call(std::nullopt);
            }
        });
    } else {
        post([response = std::move(response_)](CurlTransfer& self) {
            if (const auto call = std::exchange(self.done_, nullptr)) {
                call(response);
            }
        });
    }
}

void CurlTransfer::deliver(HttpFailure failed) {
    post([failed = std::move(failed)](CurlTransfer& self) {
        const auto handlers = std::exchange(self.handlers_, {});
        const auto done = std::exchange(self.done_, nullptr);
        if (self.isStream_ && handlers.onEnd) {
            handlers.onEnd(failed);
        } else if (done) {
            done(failure(failed));
        }
    });
}

}  // namespace tolvik
