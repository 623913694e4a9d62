#include "adapters/http/curl_http_client.h"

#include <algorithm>
#include <mutex>
#include <spdlog/spdlog.h>
#include <thread>
#include <utility>
#include <vector>

#include "adapters/http/curl_transfer.h"

namespace tolvik {

/// The network thread and what it is told to do.
class CurlHttpClient::Thread {
public:
    using Transfer = std::shared_ptr<CurlTransfer>;

    Thread() {
        static const CURLcode ready = curl_global_init(CURL_GLOBAL_DEFAULT);
        static_cast<void>(ready);
        multi_ = curl_multi_init();
        curl_multi_setopt(multi_, CURLMOPT_MAXCONNECTS, 8L);
    }
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;
    ~Thread() { curl_multi_cleanup(multi_); }

    void start(Transfer transfer) {
        if (!thread_.joinable()) {
            thread_ = std::thread([this] { run(); });
        }
        tell([&] { added_.push_back(std::move(transfer)); });
    }
    /// Looks at the transfers anew: one was abandoned.
    void look() {
        tell([] {});
    }
    void resume(Transfer transfer) {
        tell([&] { resumed_.push_back(std::move(transfer)); });
    }
    void end() {
        tell([&] { ending_ = true; });
        if (thread_.joinable()) {
            thread_.join();
        }
    }

private:
    template <class What>
    void tell(What what) {
        {
            const std::scoped_lock lock(mutex_);
            what();
        }
        curl_multi_wakeup(multi_);
    }

    void run() {
        while (takeOrders()) {
            int running = 0;
            curl_multi_perform(multi_, &running);
            finishDone();
            const int wait = finishSilent();
            // Nothing is polled: libcurl's own time-outs, the sockets and `tell` end the wait.
            curl_multi_poll(multi_, nullptr, 0, wait, nullptr);
        }
        for (const Transfer& transfer : active_) {
            curl_multi_remove_handle(multi_, transfer->handle());
        }
        active_.clear();
    }

    /// False when the thread shall end.
    bool takeOrders() {
        std::vector<Transfer> added;
        std::vector<Transfer> resumed;
        {
            const std::scoped_lock lock(mutex_);
            if (ending_) {
                return false;
            }
            added.swap(added_);
            resumed.swap(resumed_);
        }
        for (Transfer& transfer : added) {
            if (transfer->isAbandoned()) {
                continue;
            }
            CURL* easy = transfer->prepare();
            if (easy == nullptr || curl_multi_add_handle(multi_, easy) != CURLM_OK) {
                transfer->finish(CURLE_OUT_OF_MEMORY);
                continue;
            }
            active_.push_back(std::move(transfer));
        }
        drop([](const CurlTransfer& transfer) { return transfer.isAbandoned(); });
        for (const Transfer& transfer : resumed) {
            if (std::ranges::find(active_, transfer) != active_.end()) {
                transfer->resume();
            }
        }
        return true;
    }

    void finishDone() {
        int left = 0;
        while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
            if (message->msg != CURLMSG_DONE) {
                continue;
            }
            const CURLcode code = message->data.result;
            CURL* easy = message->easy_handle;
            const auto found = std::ranges::find(active_, easy, &CurlTransfer::handle);
            if (found != active_.end()) {
                (*found)->finish(code);
            }
            drop([&](const CurlTransfer& transfer) { return transfer.handle() == easy; });
        }
    }

    /// Gives up streams that were silent for too long; milliseconds until the next one would be.
    int finishSilent() {
        constexpr std::chrono::milliseconds longest{60'000};
        const auto now = CurlTransfer::Clock::now();
        auto wait = longest;
        for (const Transfer& transfer : active_) {
            if (const auto end = transfer->silenceEnds()) {
                if (*end <= now) {
                    transfer->finishSilent();
                } else {
                    wait = std::min(wait, std::chrono::ceil<std::chrono::milliseconds>(*end - now));
                }
            }
        }
        drop([&](const CurlTransfer& transfer) {
            const auto end = transfer.silenceEnds();
            return end && *end <= now;
        });
        return static_cast<int>(wait.count());
    }

    template <class Condition>
    void drop(Condition condition) {
        std::erase_if(active_, [&](const Transfer& transfer) {
            const bool dropped = condition(*transfer);
            if (dropped) {
                curl_multi_remove_handle(multi_, transfer->handle());
            }
            return dropped;
        });
    }

    CURLM* multi_ = nullptr;
    std::thread thread_;
    std::vector<Transfer> active_;

    std::mutex mutex_;
    std::vector<Transfer> added_;
    std::vector<Transfer> resumed_;
    bool ending_ = false;
};

namespace {

/// What the caller holds. The thread may be gone when it is let go.
template <class Thread>
class CurlExchange final : public HttpExchange {
public:
    CurlExchange(std::shared_ptr<CurlTransfer> transfer, std::weak_ptr<Thread> thread)
        : transfer_(std::move(transfer)), thread_(std::move(thread)) {}
    ~CurlExchange() override {
        transfer_->abandon();
        if (const auto thread = thread_.lock()) {
            thread->look();
        }
    }

private:
    std::shared_ptr<CurlTransfer> transfer_;
    std::weak_ptr<Thread> thread_;
};

}  // namespace

CurlHttpClient::CurlHttpClient(MainLoop& loop) : thread_(std::make_shared<Thread>()), loop_(loop) {}

CurlHttpClient::~CurlHttpClient() {
    thread_->end();
}

std::unique_ptr<HttpExchange> CurlHttpClient::send(HttpRequest request, Done done) {
    const auto refusal = refusalOf(request);
    auto transfer = std::make_shared<CurlTransfer>(loop_, std::move(request), std::move(done), StreamHandlers{}, false);
    if (refusal) {
        transfer->refuse(*refusal);
    } else {
        thread_->start(transfer);
    }
    return std::make_unique<CurlExchange<Thread>>(std::move(transfer), thread_);
}

std::unique_ptr<HttpExchange> CurlHttpClient::stream(HttpRequest request, StreamHandlers handlers) {
    const auto refusal = refusalOf(request);
    auto transfer = std::make_shared<CurlTransfer>(loop_, std::move(request), nullptr, std::move(handlers), true);
    if (refusal) {
        transfer->refuse(*refusal);
    } else {
        transfer->onCaughtUp = [weak = std::weak_ptr(transfer), thread = std::weak_ptr(thread_)] {
            const auto strong = thread.lock();
            if (const auto self = weak.lock(); self && strong) {
                strong->resume(self);
            }
        };
        thread_->start(transfer);
    }
    return std::make_unique<CurlExchange<Thread>>(std::move(transfer), thread_);
}

}  // namespace tolvik
