#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

#include "server/api/server_app.h"
#include "server/hub/stream_hub.h"
#include "server/mail/code_sender.h"
#include "server/net/handler.h"
#include "server/observe/json_log.h"
#include "server/observe/request_metrics.h"

namespace tolvik::server {

struct DispatchOptions {
    /// Requests that may wait for the database; past it they are answered 503.
    std::size_t mostWaiting = 4'096;
    /// Requests that share one commit at most.
    std::size_t mostTogether = 256;
    std::size_t readers = 2;
    /// Threads for transcription and language models, started as they are needed.
    std::size_t slowWorkers = 4;
    std::size_t mostSlowWaiting = 32;
    std::chrono::seconds tidyEvery = std::chrono::minutes(5);
};

/// Brings requests from the network to the app and answers back: writes in batches that share a commit, reads beside
/// them, slow work on workers, and tells the streams and the mail once a change is durable.
class Dispatcher final : public RequestHandler {
public:
    /// All must outlive the dispatcher.
    struct Parts {
        ServerApp& app;
        Storage& storage;
        StreamHub& hub;
        CodeSender& mail;
        JsonLog& log;
        RequestMetrics& metrics;
    };
    Dispatcher(Parts parts, DispatchOptions options);
    /// Answers what waits with 503 and waits for what is under way.
    ~Dispatcher() override;

    [[nodiscard]] std::size_t bodyLimit(std::string_view method, std::string_view path) const override;
    void handle(Request request, std::function<void(Answer)> reply) override;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik::server
