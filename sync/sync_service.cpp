#include "sync/sync_service.h"

#include <algorithm>
#include <deque>
#include <utility>
#include <vector>

#include "sync/http_date.h"
#include "sync/pull_response.h"

namespace tolvik {
namespace {

constexpr Millis kFullTimeout{15'000};
constexpr Millis kRangeTimeout{30'000};
constexpr int kRetries = 2;
constexpr Millis kFirstRetry{500};
constexpr Millis kLongestRetry{8'000};
/// What the device owes itself (not what a reader asked for) is tried again.
constexpr Millis kFirstAgain{5'000};
constexpr Millis kLongestAgain{60'000};
/// A full pull that began so recently is good enough for a stream that connects: the last days bring the rest.
constexpr Millis kFreshFull{60'000};

enum class Extent : std::uint8_t { all, recent, range };

struct Job {
    Extent extent = Extent::all;
    DayKey from = {};
    DayKey to = {};
    std::vector<SyncService::Done> done = {};
    int attempts = 0;
};

/// What the worker makes of an answer.
struct Prepared {
    PullPlan plan;
    std::vector<DictEntry> terms;
    IdSet removedTerms;
    /// Of the records that were watched: what the server has.
    std::vector<ServerCopy> copies;
};

Result<Prepared, SyncError> prepare(const std::string& body, const WholeLog& local, const IdSet& held,
                                    const IdSet& watched, bool isFull) {
    auto response = decodePullResponse(body);
    if (!response) {
        return failure(SyncError{SyncError::Kind::httpError, 200});
    }
    Prepared out;
    const auto watch = [&]<class Record>(const std::vector<Record>& records) {
        for (const Record& record : records) {
            if (watched.contains(record.id)) {
                std::string json;
                appendRecord(json, record);
                out.copies.push_back({kindOf<Record>(), record.id, std::move(json)});
            }
        }
    };
    watch(response->log.tasks);
    watch(response->log.timeEntries);
    watch(response->log.switchLogs);
    watch(response->log.tags);
    for (const DeletedMarker& marker : response->log.deleted) {
        if (watched.contains(marker.id)) {
            out.copies.push_back({marker.kind, marker.id, std::nullopt});
        }
        if (marker.kind == RecordKind::dictionary) {
            out.removedTerms.insert(marker.id);
        }
    }
    for (ServerDictEntry& entry : response->dictionaries) {
        out.terms.push_back({entry.id, std::move(entry.term), std::move(entry.hint), entry.tagId});
        if (watched.contains(entry.id)) {
            DictStorage one;
            one.entries.push_back(out.terms.back());
            const std::string json = encodeStorage(one);
            // The one entry of {"entries":[…]}.
            const auto begin = json.find('[') + 1;
            out.copies.push_back({RecordKind::dictionary, entry.id, json.substr(begin, json.rfind(']') - begin)});
        }
    }
    out.plan.earliestDate = response->earliestDate;
    out.plan.merge = planMerge(local, std::move(response->log), held, isFull);
    return out;
}

}  // namespace

struct SyncService::Impl {
    explicit Impl(Ports lent) : ports(lent) {}

    Ports ports;
    std::deque<Job> jobs;
    bool running = false;
    /// Told apart from pulls that were given up.
    std::uint64_t epoch = 0;
    std::unique_ptr<HttpExchange> exchange;
    std::string token;
    std::shared_ptr<StorePull> pull;
    IdSet heldAtStart;
    /// Records whose operations left the queue while the pull ran.
    IdSet settledMeanwhile;
    Timer retryTimer;
    Timer againTimer;
    Millis againDelay = kFirstAgain;
    bool owesFull = false;
    bool owesRecent = false;
    /// Server's clock minus this one.
    Millis skew{0};
    std::optional<Instant> lastFullBegan;
    bool listens = false;
    Signal<> pulled;
    std::vector<Subscription> subscriptions;
    std::shared_ptr<Impl*> alive = std::make_shared<Impl*>(this);

    void connect() {
        ports.outbox.goOnline({ports.http, ports.endpoint, ports.session, ports.stream});
        ports.outbox.setCarriedOut([this](const OutboxOp& op) { leftQueue(op); });
        ports.outbox.setUndo([this](OutboxQueue::Drop drop) { undo(std::move(drop)); });
        subscriptions.push_back(ports.outbox.onDrained([this] { ask({.extent = Extent::recent}); }));
        subscriptions.push_back(ports.stream.subscribe([this] { ask({.extent = Extent::recent}); }));
        subscriptions.push_back(ports.stream.onConnected([this] { connected(); }));
        subscriptions.push_back(ports.session.onExpired([this] { giveUp(); }));
    }

    void leftQueue(const OutboxOp& op) {
        if (running && op.entityId) {
            settledMeanwhile.insert(Identifier(*op.entityId));
        }
    }

    void undo(OutboxQueue::Drop drop) {
        for (const OutboxOp& op : drop.ops) {
            leftQueue(op);
        }
        if (running) {
            for (const ServerCopy& copy : drop.records) {
                settledMeanwhile.insert(copy.id);
            }
        }
        // What else the refused change had led to elsewhere in the log, only the server knows.
        owesFull = true;
        ports.dictionary.restoreCopies(drop.records);
        ports.store.restore(drop.records, std::move(drop.writes));
    }

    void connected() {
        const Instant now = ports.clock.now();
        const bool fresh = lastFullBegan && now - *lastFullBegan < kFreshFull && now >= *lastFullBegan && !owesFull;
        ask({.extent = fresh ? Extent::recent : Extent::all});
    }

    /// Queues a pull unless one that brings the same waits already.
    void ask(Job job) {
        for (Job& waiting : jobs) {
            const bool isRunning = running && &waiting == &jobs.front();
            const bool brings = waiting.extent == Extent::all ||
                                (waiting.extent == job.extent && job.from == waiting.from && job.to == waiting.to);
            if (!isRunning && brings) {
                std::ranges::move(job.done, std::back_inserter(waiting.done));
                return;
            }
        }
        jobs.push_back(std::move(job));
        next();
    }

    void next() {
        if (running || jobs.empty()) {
            return;
        }
        running = true;
        if (jobs.front().extent == Extent::recent && owesFull) {
            jobs.front().extent = Extent::all;
        }
        send();
    }

    void send() {
        Job& job = jobs.front();
        const Instant now = ports.clock.now();
        pull = ports.store.beginPull();
        heldAtStart = ports.outbox.queue().heldIds();
        settledMeanwhile.clear();
        std::string path = "/sync/pull";
        std::optional<std::string> day;
        if (job.extent == Extent::recent) {
            // Changes are dated by the server's clock, and the days by this one's: both count.
            job.from = ports.timeZone.dayOf(std::min(now, now + skew)).plus(-1);
            job.to = ports.timeZone.dayOf(std::max(now, now + skew));
        }
        if (job.extent == Extent::all) {
            lastFullBegan = now;
        } else {
            day = job.from.text();
            path += "?from=" + *day + "&to=" + job.to.text();
        }
        auto request =
            authorisedRequest(ports.endpoint, ports.session,
                              {.method = "GET",
                               .path = path,
                               .timeout = job.extent == Extent::all ? kFullTimeout : kRangeTimeout,
                               .headers = {{"X-TZ-Offset", timezoneOffsetHeader(ports.timeZone, ports.clock, day)},
                                           {"X-TZ", ports.timeZone.name()}}});
        if (!request) {
            const auto kind = request.error() == RequestRefusal::notSignedIn ? SyncError::Kind::notAuthenticated
                                                                             : SyncError::Kind::invalidUrl;
            // Not before the caller has its turn.
            ports.loop.post(guarded([this, kind] { finish(failure(SyncError{kind, 0})); }));
            return;
        }
        token = std::move(request->token);
        exchange = ports.http.send(std::move(request->request),
                                   [this](Result<HttpResponse, HttpFailure> result) { answered(std::move(result)); });
    }

    /// A call that comes to nothing when the pull was given up.
    std::function<void()> guarded(std::function<void()> call) {
        return [weak = std::weak_ptr(alive), number = epoch, call = std::move(call)] {
            if (const auto self = weak.lock(); self && (*self)->epoch == number) {
                call();
            }
        };
    }

    void answered(Result<HttpResponse, HttpFailure> result) {
        const auto over = std::move(exchange);
        const int status = result ? result->status : 0;
        const bool transient =
            result ? status == 429 || status >= 500 : result.error().kind == HttpFailure::Kind::transport;
        if (transient && jobs.front().attempts < kRetries) {
            const Millis wait = std::min(kFirstRetry * (1 << jobs.front().attempts), kLongestRetry);
            ++jobs.front().attempts;
            retryTimer = ports.loop.after(wait, [this] { send(); });
            return;
        }
        if (!result && result.error().kind == HttpFailure::Kind::invalidUrl) {
            finish(failure(SyncError{SyncError::Kind::invalidUrl, 0}));
            return;
        }
        if (status == 401) {
            // Ends this pull with all others when the session is the present one.
            const auto number = epoch;
            ports.session.handleUnauthorized(token);
            if (number == epoch) {
                finish(failure(SyncError{SyncError::Kind::httpError, status}));
            }
            return;
        }
        if (status != 200) {
            finish(failure(SyncError{SyncError::Kind::httpError, status}));
            return;
        }
        noteDate(result->headers);
        copy(std::make_shared<std::string>(std::move(result->body)));
    }

    void noteDate(const HttpHeaders& headers) {
        if (const auto date = findHeader(headers, "date")) {
            if (const auto instant = parseHttpDate(*date)) {
                skew = *instant - ports.clock.now();
            }
        }
    }

    void copy(const std::shared_ptr<std::string>& body) {
        if (!ports.store.copySome(*pull)) {
            ports.loop.post(guarded([this, body] { copy(body); }));
            return;
        }
        IdSet held = heldAtStart;
        held.merge(ports.outbox.queue().heldIds());
        IdSet watched;
        for (const auto& [id, kept] : ports.outbox.queue().copies().all()) {
            watched.insert(id);
        }
        ports.workers.run([this, number = epoch, weak = std::weak_ptr(alive), &loop = ports.loop, body, asked = pull,
                           held = std::move(held), watched = std::move(watched),
                           isFull = jobs.front().extent == Extent::all] {
            auto prepared =
                std::make_shared<Result<Prepared, SyncError>>(prepare(*body, asked->copy, held, watched, isFull));
            // Freed here and not on the main loop.
            asked->copy = {};
            loop.post([this, number, weak, prepared] {
                if (weak.lock() && epoch == number) {
                    merge(*prepared);
                }
            });
        });
    }

    void merge(Result<Prepared, SyncError>& prepared) {
        if (!prepared) {
            finish(failure(prepared.error()));
            return;
        }
        OutboxQueue& queue = ports.outbox.queue();
        const bool isFull = jobs.front().extent == Extent::all;
        IdSet held = heldAtStart;
        held.merge(queue.heldIds());
        held.insert(settledMeanwhile.begin(), settledMeanwhile.end());
        WriteBatch writes = queue.takeUnsaved();
        for (const ServerCopy& copy : prepared->copies) {
            const auto* kept = queue.copies().find(copy.id);
            if (kept == nullptr || settledMeanwhile.contains(copy.id)) {
                continue;
            }
            if (kept->isDerived()) {
                queue.copies().erase(writes, copy.id);
            } else {
                queue.copies().replace(writes, copy);
            }
        }
        if (isFull) {
            std::vector<Identifier> unknown;
            for (const auto& [id, kept] : queue.copies().all()) {
                if (kept.isDerived() && !settledMeanwhile.contains(id)) {
                    unknown.push_back(id);
                }
            }
            for (const Identifier& id : unknown) {
                queue.copies().erase(writes, id);
            }
            owesFull = false;
        }
        const IdSet settled = std::exchange(settledMeanwhile, {});
        const std::size_t terms = ports.dictionary.mergePulled(prepared->terms, prepared->removedTerms, held, isFull);
        auto outcome = ports.store.finishPull(*pull, std::move(prepared->plan), held, std::move(writes));
        outcome.queued += terms;
        if (outcome.isVoid || (outcome.strays > 0 && !isFull)) {
            owesFull = true;
        }
        ports.store.pullCompleted();
        againDelay = kFirstAgain;
        // Records that were left out because they moved meanwhile are looked at once more, with whatever waits already.
        if (!settled.empty() || owesFull) {
            ask({.extent = Extent::recent});
        }
        finish(outcome);
        pulled.emit();
        ports.outbox.flush();
    }

    void finish(Result<PullOutcome, SyncError> result) {
        Job job = std::move(jobs.front());
        jobs.pop_front();
        running = false;
        pull.reset();
        ++epoch;
        const bool signedOut = !result && result.error().kind == SyncError::Kind::notAuthenticated;
        if (!result && !signedOut && job.extent != Extent::range) {
            owesFull = owesFull || job.extent == Extent::all;
            againTimer = ports.loop.after(againDelay, [this] { ask({.extent = Extent::recent}); });
            againDelay = std::min(againDelay * 2, kLongestAgain);
        }
        for (const Done& done : job.done) {
            if (done) {
                done(result);
            }
        }
        next();
    }

    /// Ends what runs and waits, without an answer from the server.
    void giveUp() {
        ++epoch;
        exchange.reset();
        retryTimer.cancel();
        againTimer.cancel();
        pull.reset();
        running = false;
        ports.stream.stop();
        for (const Job& job : std::exchange(jobs, {})) {
            for (const Done& done : job.done) {
                if (done) {
                    done(failure(SyncError{SyncError::Kind::notAuthenticated, 0}));
                }
            }
        }
    }
};

SyncService::SyncService(Ports ports) : impl_(std::make_unique<Impl>(ports)) {
    impl_->connect();
}

SyncService::~SyncService() {
    impl_->ports.outbox.setCarriedOut({});
    impl_->ports.outbox.setUndo({});
}

void SyncService::start(bool withStream) {
    if (!impl_->ports.session.isSignedIn()) {
        return;
    }
    impl_->ports.outbox.flush();
    impl_->ask({.extent = Extent::all});
    if (withStream) {
        impl_->ports.stream.start();
    }
}

Result<void, StoreError> SyncService::userSignedIn(bool withStream) {
    Ports& ports = impl_->ports;
    impl_->giveUp();
    impl_->owesFull = true;
    if (auto moved = ports.outbox.userSignedIn(ports.store.owner()); !moved) {
        return moved;
    }
    const auto exchanged = ports.store.changeUser(ports.session.userId());
    if (!exchanged) {
        return failure(exchanged.error());
    }
    if (*exchanged) {
        ports.dictionary.reload();
    }
    ports.outbox.userChanged();
    start(withStream);
    return {};
}

void SyncService::userSignedOut() {
    impl_->giveUp();
    impl_->ports.outbox.userChanged();
}

void SyncService::becameActive() {
    if (impl_->ports.session.isSignedIn()) {
        impl_->ports.outbox.flush();
        impl_->ask({.extent = Extent::recent});
    }
}

void SyncService::pullAll(Done done) {
    Job job{.extent = Extent::all};
    job.done.push_back(std::move(done));
    impl_->ask(std::move(job));
}

void SyncService::pullRange(DayKey from, DayKey to, Done done) {
    Job job{.extent = Extent::range, .from = from, .to = to};
    job.done.push_back(std::move(done));
    impl_->ask(std::move(job));
}

void SyncService::pullRecent(Done done) {
    Job job{.extent = Extent::recent};
    job.done.push_back(std::move(done));
    impl_->ask(std::move(job));
}

bool SyncService::isPulling() const {
    return !impl_->jobs.empty();
}

Subscription SyncService::onPulled(std::function<void()> callback) {
    return impl_->pulled.connect(std::move(callback));
}

}  // namespace tolvik
