#include "sync/sync_outbox.h"

#include <algorithm>
#include <utility>

#include "sync/op_effect.h"

namespace tolvik {
namespace {

constexpr Millis kSendTimeout{15'000};
constexpr Millis kFirstWait{5'000};
constexpr Millis kLongestWait{60'000};
constexpr Millis kHoldOff{3'000};
constexpr Millis kNoticeStays{8'000};
/// Of many operations that came together.
constexpr std::size_t kTakenAtOnce = 2000;
constexpr double kSkipAfterSeconds = 86'400;
/// 2001-01-01T00:00:00Z, from which the file counts seconds.
constexpr std::int64_t kFileEpochMs = 978'307'200'000;

constexpr const char* kOffline = "Offline, will retry";
constexpr const char* kServerError = "Server error, retrying";
constexpr const char* kRejected = "The server rejected a change; it was undone locally.";
constexpr const char* kSkipped =
    "A change could not be sent for over a day and was skipped; check that the app is up to date.";

enum class Answer : std::uint8_t { success, offline, unauthorized, serverError, rejected };

Answer classify(const Result<HttpResponse, HttpFailure>& result) {
    if (!result) {
        return Answer::offline;
    }
    const int status = result->status;
    if (status >= 200 && status < 400) {
        return Answer::success;
    }
    if (status == 401) {
        return Answer::unauthorized;
    }
    if (status >= 500) {
        return Answer::serverError;
    }
    // 1xx never ends an exchange; taken as no answer.
    return status == 429 || status < 400 ? Answer::offline : Answer::rejected;
}

double fileSeconds(Instant instant) {
    return static_cast<double>(instant.ms - kFileEpochMs) / 1000.0;
}

/// The head, and when it was a creation all that is built on it.
std::vector<std::size_t> dropsWith(const std::deque<OutboxOp>& ops) {
    std::vector<std::size_t> out{0};
    IdSet gone;
    const auto takesAlong = [&](const OutboxOp& op) {
        if (op.method == "POST" && op.entityId) {
            gone.insert(Identifier(*op.entityId));
        }
    };
    takesAlong(ops.front());
    for (std::size_t i = 1; i < ops.size() && !gone.empty(); ++i) {
        if (ops[i].entityId && gone.contains(Identifier(*ops[i].entityId))) {
            out.push_back(i);
            takesAlong(ops[i]);
        }
    }
    return out;
}

}  // namespace

struct SyncOutbox::Impl {
    explicit Impl(Ports lent) : clock(lent.clock), loop(lent.loop), queue(std::move(lent)) {}

    const Clock& clock;
    MainLoop& loop;
    OutboxQueue queue;
    std::optional<Line> line;
    std::unique_ptr<HttpExchange> exchange;
    /// Whose operation is on its way, and which.
    std::string sendingUser;
    std::string sendingOp;
    Timer retryTimer;
    Timer noticeTimer;
    Millis parkedDelay = kFirstWait;
    std::optional<std::string> parkedReason;
    std::optional<std::string> lastRejection;
    std::function<void(OutboxQueue::Drop)> undo;
    std::function<void(const OutboxOp&)> carriedOut;
    Signal<> changed;
    Signal<> drained;
    Signal<const OutboxOp&> dropped;

    void holdOff() const { line->holdOff.suppressUntil(clock.now() + kHoldOff); }

    void flush() {
        if (!line || exchange || queue.ops().empty()) {
            return;
        }
        retryTimer.cancel();
        holdOff();
        send();
    }

    void send() {
        if (exchange || queue.ops().empty()) {
            return;
        }
        const OutboxOp& op = queue.ops().front();
        auto request = authorisedRequest(line->endpoint, line->session,
                                         {.method = op.method,
                                          .path = op.path,
                                          .timeout = kSendTimeout,
                                          .body = op.body,
                                          .headers = {{"x-op-id", op.id}}});
        if (!request) {
            if (request.error() != RequestRefusal::notSignedIn) {
                park(kOffline);
            }
            return;
        }
        holdOff();
        sendingUser = queue.user();
        sendingOp = op.id;
        exchange = line->http.send(std::move(request->request),
                                   [this, token = std::move(request->token)](Result<HttpResponse, HttpFailure> result) {
                                       answered(token, result);
                                   });
    }

    void answered(const std::string& token, const Result<HttpResponse, HttpFailure>& result) {
        const auto over = std::move(exchange);
        if (sendingUser != queue.user() || queue.ops().empty() || queue.ops().front().id != sendingOp) {
            flush();
            return;
        }
        const OutboxOp& head = queue.ops().front();
        switch (classify(result)) {
            case Answer::success:
                headDone();
                return;
            case Answer::rejected:
                rejected(head, result->status);
                return;
            case Answer::unauthorized:
                line->session.handleUnauthorized(token);
                return;
            case Answer::serverError:
                serverError(head);
                return;
            case Answer::offline:
                park(kOffline);
                return;
        }
    }

    void headDone() {
        if (carriedOut) {
            carriedOut(queue.ops().front());
        }
        queue.headCarriedOut();
        parkedReason.reset();
        goOn();
    }

    /// The next one, after the head has left the queue.
    void goOn() {
        parkedDelay = kFirstWait;
        changed.emit();
        if (queue.ops().empty()) {
            drained.emit();
        } else {
            send();
        }
    }

    void rejected(const OutboxOp& head, int status) {
        if (head.method == "DELETE" && status == 404) {
            headDone();
            return;
        }
        if (status == 400 && head.path.starts_with("/tasks") && !head.droppedTag && head.body) {
            if (auto body = bodyWithoutTag(*head.body)) {
                OutboxOp again = head;
                again.body = std::move(*body);
                again.droppedTag = true;
                queue.replaceHead(std::move(again));
                changed.emit();
                send();
                return;
            }
        }
        drop(dropsWith(queue.ops()), kRejected);
    }

    void drop(const std::vector<std::size_t>& places, const char* notice) {
        auto gone = queue.drop(places);
        const auto ops = gone.ops;
        if (undo) {
            undo(std::move(gone));
        } else {
            queue.commit(std::move(gone.writes));
        }
        for (const OutboxOp& op : ops) {
            dropped.emit(op);
        }
        lastRejection = notice;
        noticeTimer = loop.after(kNoticeStays, [this] {
            lastRejection.reset();
            changed.emit();
        });
        parkedReason.reset();
        goOn();
    }

    void serverError(const OutboxOp& head) {
        OutboxOp failed = head;
        ++failed.serverFailures;
        const double now = fileSeconds(clock.now());
        if (!failed.serverFailingSince) {
            failed.serverFailingSince = now;
        }
        const bool skip = now - *failed.serverFailingSince > kSkipAfterSeconds;
        queue.replaceHead(std::move(failed));
        if (skip) {
            drop({0}, kSkipped);
        } else {
            park(kServerError);
        }
    }

    void park(const char* reason) {
        parkedReason = reason;
        const Millis wait = parkedDelay;
        parkedDelay = std::min(parkedDelay * 2, kLongestWait);
        retryTimer = loop.after(wait, [this] { flush(); });
        changed.emit();
    }

    void stop() {
        exchange.reset();
        retryTimer.cancel();
        parkedDelay = kFirstWait;
        parkedReason.reset();
    }
};

SyncOutbox::SyncOutbox(Ports ports) : impl_(std::make_unique<Impl>(std::move(ports))) {}

SyncOutbox::~SyncOutbox() = default;

void SyncOutbox::stage(WriteBatch& batch, std::span<const Mutation> mutations) {
    impl_->queue.append(batch, mutations);
}

BulkMutationSink::MakeReady SyncOutbox::makeReady() {
    return impl_->queue.makeReady();
}

void SyncOutbox::stageReady(WriteBatch& batch, std::shared_ptr<ReadyMutations> ready) {
    impl_->queue.appendReady(batch, std::move(ready));
}

bool SyncOutbox::takeIn() {
    return impl_->queue.takeIn(kTakenAtOnce);
}

void SyncOutbox::staged() {
    impl_->queue.writeSoon();
    impl_->changed.emit();
    impl_->flush();
}

void SyncOutbox::stageCopies(WriteBatch& batch, std::span<const ServerCopy> copies) {
    impl_->queue.keepCopies(batch, copies);
}

void SyncOutbox::goOnline(Line line) {
    impl_->line.emplace(line);
}

const std::deque<OutboxOp>& SyncOutbox::ops() const {
    return impl_->queue.ops();
}

const std::optional<std::string>& SyncOutbox::parkedReason() const {
    return impl_->parkedReason;
}

const std::optional<std::string>& SyncOutbox::lastRejection() const {
    return impl_->lastRejection;
}

Subscription SyncOutbox::onChanged(std::function<void()> callback) {
    return impl_->changed.connect(std::move(callback));
}

Subscription SyncOutbox::onDrained(std::function<void()> callback) {
    return impl_->drained.connect(std::move(callback));
}

Subscription SyncOutbox::onOpDropped(std::function<void(const OutboxOp&)> callback) {
    return impl_->dropped.connect(std::move(callback));
}

void SyncOutbox::setUndo(std::function<void(OutboxQueue::Drop)> undo) {
    impl_->undo = std::move(undo);
}

void SyncOutbox::setCarriedOut(std::function<void(const OutboxOp&)> callback) {
    impl_->carriedOut = std::move(callback);
}

void SyncOutbox::flush() {
    impl_->flush();
}

void SyncOutbox::clear() {
    impl_->stop();
    impl_->queue.clear();
    impl_->changed.emit();
}

Result<void, StoreError> SyncOutbox::userSignedIn(const std::string& owner) {
    impl_->stop();
    const std::string user = impl_->queue.user();
    if (auto moved = impl_->queue.moveAnonymousTo(owner.empty() ? user : owner); !moved) {
        return moved;
    }
    impl_->changed.emit();
    return {};
}

void SyncOutbox::userChanged() {
    impl_->stop();
    impl_->changed.emit();
}

OutboxQueue& SyncOutbox::queue() {
    return impl_->queue;
}

void SyncOutbox::settle() {
    impl_->queue.settle();
}

std::string SyncOutbox::filePath() const {
    return impl_->queue.filePath();
}

}  // namespace tolvik
