#include "server/dispatch/dispatcher.h"

#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "server/dispatch/job_queue.h"
#include "server/net/response_text.h"

namespace tolvik::server {
namespace {

/// Enough for a client's own error to reach it when it mistook the path.
constexpr std::size_t unknownBodyLimit = std::size_t{16} * 1024;

struct Job {
    Request request;
    std::function<void(Answer)> reply;
    RouteInfo route;
    std::chrono::steady_clock::time_point begun;
    std::function<Response(const Request&)> slow = nullptr;
};

Response busy() {
    auto response = refusal(503, "The server is busy. Please try again in a moment.");
    response.headers.emplace_back("retry-after", "2");
    return response;
}

}  // namespace

struct Dispatcher::Impl {
    Impl(Parts given, DispatchOptions chosen)
        : parts(given),
          options(chosen),
          writes(parts.storage.lanes(), options.mostWaiting, options.mostTogether,
                 [this](std::vector<Job> jobs) { runWrites(std::move(jobs)); }),
          reads(options.readers, options.mostWaiting, 1, [this](std::vector<Job> jobs) { runReads(std::move(jobs)); }),
          slow(options.slowWorkers, options.mostSlowWaiting, 1,
               [this](std::vector<Job> jobs) { runSlow(std::move(jobs)); }),
          keeper([this] { keepTidy(); }) {
        parts.storage.onAnnouncement([this](const Announcement& one) { parts.hub.announce(one); });
        parts.storage.onEnded([this](const EndedSession& one) { parts.hub.endStreams(one.userId, one.deviceId); });
        parts.storage.onGap([this] { parts.hub.announceToAll(); });
    }

    ~Impl() {
        {
            const std::lock_guard lock(mutex);
            ending = true;
        }
        wake.notify_all();
        keeper.join();
        for (auto* queue : {&writes, &reads, &slow}) {
            for (auto& job : queue->end()) {
                answer(job, {busy(), {}});
            }
        }
        parts.storage.onAnnouncement(nullptr);
        parts.storage.onEnded(nullptr);
        parts.storage.onGap(nullptr);
    }

    void answer(Job& job, Answer given) {
        const auto took = std::chrono::steady_clock::now() - job.begun;
        const int status = given.stream ? 200 : given.response.status;
        parts.metrics.answered(job.route.name, status, took);
        const auto level = status >= 500 ? LogLevel::warning : LogLevel::debug;
        if (parts.log.wants(level)) {
            const std::chrono::duration<double, std::milli> time = took;
            parts.log.write(level, "request",
                            {{"route", job.route.name}, {"status", std::int64_t{status}}, {"ms", time.count()}});
        }
        std::exchange(job.reply, nullptr)(std::move(given));
    }

    void add(JobQueue<Job>& queue, Job job) {
        if (!queue.add(job)) {
            answer(job, {busy(), {}});
        }
    }

    /// What a durable outcome asks for besides its answer.
    void carryOut(Outcome& outcome) {
        for (const auto& one : outcome.announcements) {
            parts.hub.announce(one);
        }
        for (const auto& one : outcome.ended) {
            parts.hub.endStreams(one.userId, one.deviceId);
        }
        for (auto& one : outcome.mails) {
            parts.mail.send(std::move(one));
        }
    }

    void report(const StorageProblem& problem) {
        parts.metrics.count("storage_failed");
        parts.log.write(LogLevel::error, "storage_failed", {{"problem", problem.text}});
    }

    void runWrites(std::vector<Job> jobs) {
        std::vector<Outcome> outcomes(jobs.size());
        std::vector<Storage::Work> units;
        units.reserve(jobs.size());
        for (std::size_t at = 0; at < jobs.size(); ++at) {
            units.emplace_back([this, &request = jobs[at].request, &outcome = outcomes[at]](Transaction& transaction) {
                outcome = parts.app.handle(request, transaction);
            });
        }
        const auto results = parts.storage.transact(units);
        for (std::size_t at = 0; at < jobs.size(); ++at) {
            auto& job = jobs[at];
            if (!results[at]) {
                report(results[at].error());
                answer(job, {ServerApp::unavailable(), {}});
                continue;
            }
            carryOut(outcomes[at]);
            if (outcomes[at].slow) {
                job.slow = std::move(outcomes[at].slow);
                add(slow, std::move(job));
            } else {
                answer(job, {std::move(outcomes[at].response), {}});
            }
        }
    }

    void runReads(std::vector<Job> jobs) {
        for (auto& job : jobs) {
            if (job.route.name == "/health") {
                answer(job, {health(), {}});
                continue;
            }
            Answer given;
            guarded(given, [&] { read(job, given); });
            if (job.slow) {
                add(slow, std::move(job));
            } else {
                answer(job, std::move(given));
            }
        }
    }

    void read(Job& job, Answer& given) {
        const auto result = parts.storage.read([&](Transaction& transaction) {
            given = {};
            job.slow = nullptr;
            if (job.route.kind != RouteKind::stream) {
                auto outcome = parts.app.handle(job.request, transaction);
                given.response = std::move(outcome.response);
                job.slow = std::move(outcome.slow);
            } else if (auto caller = parts.app.caller(job.request, transaction)) {
                given.stream = StreamOwner{std::move(caller->userId), std::move(caller->deviceId)};
            } else {
                given.response = std::move(caller.error());
            }
        });
        if (!result) {
            report(result.error());
            given = {ServerApp::unavailable(), {}};
            job.slow = nullptr;
        }
    }

    void runSlow(std::vector<Job> jobs) {
        for (auto& job : jobs) {
            Answer given;
            guarded(given, [&] { given.response = job.slow(job.request); });
            answer(job, std::move(given));
        }
    }

    /// A bug or a lack of memory costs the one request, not the process.
    template <class Call>
    void guarded(Answer& given, Call call) {
        try {
            call();
        } catch (const std::exception& error) {
            parts.log.write(LogLevel::error, "request_threw", {{"what", error.what()}});
            given = {refusal(500, "The server failed at this request."), {}};
        }
    }

    [[nodiscard]] Response health() {
        if (const auto result = parts.storage.check(); !result) {
            report(result.error());
            return {503, {}, R"({"status":"degraded","database":"unreachable"})"};
        }
        return {200, {}, R"({"status":"ok","database":"ok"})"};
    }

    void keepTidy() {
        std::unique_lock lock(mutex);
        while (!wake.wait_for(lock, options.tidyEvery, [this] { return ending; })) {
            lock.unlock();
            const std::vector<Storage::Work> units{[this](Transaction& transaction) { parts.app.tidy(transaction); }};
            for (const auto& result : parts.storage.transact(units)) {
                if (!result) {
                    report(result.error());
                }
            }
            lock.lock();
        }
    }

    Parts parts;
    DispatchOptions options;
    JobQueue<Job> writes;
    JobQueue<Job> reads;
    JobQueue<Job> slow;
    std::mutex mutex;
    std::condition_variable wake;
    bool ending = false;
    std::thread keeper;
};

Dispatcher::Dispatcher(Parts parts, DispatchOptions options) : impl_(std::make_unique<Impl>(parts, options)) {}
Dispatcher::~Dispatcher() = default;

std::size_t Dispatcher::bodyLimit(std::string_view method, std::string_view path) const {
    const auto route = ServerApp::route(method, path);
    return route.kind == RouteKind::unknown ? unknownBodyLimit : route.bodyLimit;
}

void Dispatcher::handle(Request request, std::function<void(Answer)> reply) {
    Job job{std::move(request), std::move(reply), {}, std::chrono::steady_clock::now()};
    if (job.request.path == "/health" && (job.request.method == "GET" || job.request.method == "HEAD")) {
        job.route = {RouteKind::read, 0, "/health"};
    } else {
        job.route = ServerApp::route(job.request.method, job.request.path);
    }
    const bool writes = job.route.kind == RouteKind::write || job.route.kind == RouteKind::slow;
    impl_->add(writes ? impl_->writes : impl_->reads, std::move(job));
}

}  // namespace tolvik::server
