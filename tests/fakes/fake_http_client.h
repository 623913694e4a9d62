#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "backend/http_client.h"
#include "base/main_loop.h"

namespace tolvik {

/// A network of the test's making. Requests wait until the test answers them, or are answered by `server`; either way
/// the callbacks come on the loop and not before.
class FakeHttpClient final : public HttpClient {
public:
    using Answer = Result<HttpResponse, HttpFailure>;

    explicit FakeHttpClient(MainLoop& loop) : loop_(loop) {}

    struct Exchange {
        HttpRequest request;
        bool isStream = false;
        /// Answered or given up; nothing more reaches the caller.
        bool isOver = false;
        /// Given up by the caller before it was over.
        bool isCancelled = false;
        Done done;
        StreamHandlers handlers;
    };
    /// Every request, the latest last.
    std::vector<std::shared_ptr<Exchange>> exchanges;
    /// Answers a request as it is sent; none leaves it waiting. Not asked for streams.
    std::function<std::optional<Answer>(const HttpRequest&)> server;

    [[nodiscard]] std::unique_ptr<HttpExchange> send(HttpRequest request, Done done) override {
        auto exchange = std::make_shared<Exchange>();
        exchange->request = std::move(request);
        exchange->done = std::move(done);
        exchanges.push_back(exchange);
        if (auto answer = server ? server(exchange->request) : std::nullopt) {
            finish(exchange, std::move(*answer));
        }
        return std::make_unique<Handle>(exchange);
    }
    [[nodiscard]] std::unique_ptr<HttpExchange> stream(HttpRequest request, StreamHandlers handlers) override {
        auto exchange = std::make_shared<Exchange>();
        exchange->request = std::move(request);
        exchange->isStream = true;
        exchange->handlers = std::move(handlers);
        exchanges.push_back(exchange);
        return std::make_unique<Handle>(exchange);
    }

    [[nodiscard]] const HttpRequest& last() const { return exchanges.back()->request; }
    [[nodiscard]] std::size_t waiting() const {
        std::size_t count = 0;
        for (const auto& exchange : exchanges) {
            count += exchange->isOver ? 0U : 1U;
        }
        return count;
    }

    // --- answers, to the latest request unless another is named ----------------------------------------------------
    void reply(int status, std::string body = {}, HttpHeaders headers = {}) {
        finish(exchanges.back(), HttpResponse{status, std::move(headers), std::move(body)});
    }
    void fail(std::string description = "Could not connect to server",
              HttpFailure::Kind kind = HttpFailure::Kind::transport) {
        finish(exchanges.back(), failure(HttpFailure{kind, std::move(description)}));
    }
    void finish(const std::shared_ptr<Exchange>& exchange, Answer answer) {
        loop_.post([exchange, answer = std::move(answer)] {
            if (!std::exchange(exchange->isOver, true)) {
                const auto done = std::exchange(exchange->done, nullptr);
                done(answer);
            }
        });
    }

    // --- of the latest stream --------------------------------------------------------------------------------------
    void streamReply(int status, HttpHeaders headers = {}) {
        onStream([response = HttpResponse{status, std::move(headers), {}}](Exchange& exchange) {
            call(exchange.handlers.onResponse, response);
        });
    }
    void streamData(std::string bytes) {
        onStream([bytes = std::move(bytes)](Exchange& exchange) { call(exchange.handlers.onData, bytes); });
    }
    void streamEnd(std::optional<HttpFailure> reason = {}) {
        onStream([reason = std::move(reason)](Exchange& exchange) {
            exchange.isOver = true;
            call(exchange.handlers.onEnd, reason);
        });
    }

private:
    class Handle final : public HttpExchange {
    public:
        explicit Handle(std::shared_ptr<Exchange> exchange) : exchange_(std::move(exchange)) {}
        ~Handle() override {
            if (!std::exchange(exchange_->isOver, true)) {
                exchange_->isCancelled = true;
                exchange_->done = nullptr;
                exchange_->handlers = {};
            }
        }

    private:
        std::shared_ptr<Exchange> exchange_;
    };

    /// By copy: a handler may destroy the exchange that holds it.
    template <class Call, class Arg>
    static void call(Call handler, const Arg& arg) {
        if (handler) {
            handler(arg);
        }
    }
    void onStream(std::function<void(Exchange&)> what) {
        loop_.post([exchange = exchanges.back(), what = std::move(what)] {
            if (!exchange->isOver) {
                what(*exchange);
            }
        });
    }

    MainLoop& loop_;
};

}  // namespace tolvik
