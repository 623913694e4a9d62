#pragma once

#include <atomic>
#include <chrono>
#include <curl/curl.h>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "backend/http_client.h"
#include "base/main_loop.h"

namespace tolvik {

/// Why a request must not be sent at all; none when it may.
[[nodiscard]] std::optional<HttpFailure> refusalOf(const HttpRequest& request);

/// One request on its way. The part above the line belongs to the main loop, the part below to the network thread.
class CurlTransfer : public std::enable_shared_from_this<CurlTransfer> {
public:
    using Clock = std::chrono::steady_clock;

    CurlTransfer(MainLoop& loop, HttpRequest request, HttpClient::Done done, HttpClient::StreamHandlers handlers,
                 bool isStream)
        : loop_(loop),
          request_(std::move(request)),
          isStream_(isStream),
          done_(std::move(done)),
          handlers_(std::move(handlers)) {}
    CurlTransfer(const CurlTransfer&) = delete;
    CurlTransfer& operator=(const CurlTransfer&) = delete;
    ~CurlTransfer();

    // --- main loop ---------------------------------------------------------------------------------------------------
    void abandon();
    /// Ends it before it was sent.
    void refuse(HttpFailure why) { deliver(std::move(why)); }
    /// Called on the main loop when a reader that lagged behind has caught up.
    std::function<void()> onCaughtUp;

    // --- network thread ----------------------------------------------------------------------------------------------
    /// The handle, ready to be run; null when there is no memory.
    [[nodiscard]] CURL* prepare();
    [[nodiscard]] CURL* handle() const { return easy_; }
    void finish(CURLcode code);
    void resume();
    [[nodiscard]] bool isAbandoned() const { return abandoned_; }
    /// When a stream has been silent for too long; none for other transfers and for readers that lag behind.
    [[nodiscard]] std::optional<Clock::time_point> silenceEnds() const;
    void finishSilent();

private:
    static std::size_t takeBody(char* bytes, std::size_t size, std::size_t count, void* self);
    static std::size_t takeHeader(char* bytes, std::size_t size, std::size_t count, void* self);
    void post(std::function<void(CurlTransfer&)> call);
    void deliver(HttpFailure failed);
    [[nodiscard]] std::size_t takeStreamed(std::string_view bytes);
    void endOfHeaders();

    MainLoop& loop_;
    const HttpRequest request_;
    const bool isStream_;
    HttpClient::Done done_;
    HttpClient::StreamHandlers handlers_;
    std::atomic<bool> abandoned_ = false;
    std::atomic<std::size_t> unread_ = 0;
    std::atomic<bool> paused_ = false;

    CURL* easy_ = nullptr;
    curl_slist* fields_ = nullptr;
    HttpResponse response_;
    std::size_t headerBytes_ = 0;
    bool tooLarge_ = false;
    bool announced_ = false;
    Clock::time_point lastHeard_ = Clock::now();
};

}  // namespace tolvik
