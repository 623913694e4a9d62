#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "core/app_store.h"
#include "dictionary/dictionary_manager.h"
#include "sync/sse_stream.h"
#include "sync/sync_outbox.h"
#include "sync/sync_service.h"
#include "tests/fakes/fake_secret_store.h"
#include "tests/fakes/memory_value_store.h"
#include "tests/fakes/store_fixture.h"
#include "tests/simulation/sim_link.h"

namespace tolvik::sim {

/// Jobs run a little later, and die with the process.
class SimWorkers final : public Workers {
public:
    SimWorkers(VirtualMainLoop& loop, Random& random) : loop_(loop), random_(random) {}
    void run(std::function<void()> job) override {
        std::erase_if(timers_, [](const Timer& timer) { return !timer.isPending(); });
        timers_.push_back(loop_.after(Millis{static_cast<std::int64_t>(random_.next() % 40)}, std::move(job)));
    }

private:
    VirtualMainLoop& loop_;
    Random& random_;
    std::vector<Timer> timers_;
};

/// The shipped store, vocabulary, queue, stream and service over values in memory, as one process of a device.
class SimDevice {
public:
    SimDevice(std::string name, VirtualMainLoop& loop, const Clock& real, Millis skew, std::string_view zone,
              SimServer& server, Random& random, std::filesystem::path folder);
    ~SimDevice();

    /// Ends the process; `isCrash` without a chance to write anything.
    void stop(bool isCrash);
    void start();
    [[nodiscard]] bool isRunning() const { return app_ != nullptr; }
    [[nodiscard]] bool isSignedIn();

    void signIn(const std::string& email);
    void signOut();
    /// Does what a user might do.
    void act();
    /// Adds records that nobody owes the server, as reading an export in does.
    void import();

    /// Throws when the records do not fit together, or a queued change is not to be seen.
    void checkLog();
    [[nodiscard]] std::string userId();
    [[nodiscard]] std::string token();
    [[nodiscard]] std::size_t pending();
    [[nodiscard]] WholeLog log();
    [[nodiscard]] std::vector<DictEntry> terms();
    /// The queue that a new process would find.
    [[nodiscard]] std::size_t kept();

    /// Whose log it is, and which tasks came by an import or were deleted by the user here.
    [[nodiscard]] std::string owner();
    std::vector<std::pair<std::string, Identifier>> imported;
    std::set<Identifier> deletedTasks;

    std::string name;
    SimLink link;
    FakeTimeZone zone;
    int drained = 0;

private:
    struct App;
    template <class Records>
    [[nodiscard]] const auto& any(const Records& records);
    [[nodiscard]] std::string word();
    /// The texts that a queued operation gives its record, by their members' names.
    [[nodiscard]] const std::map<std::string, std::string>& textsOf(const OutboxOp& op);

    VirtualMainLoop& loop_;
    SkewedClock clock_;
    SimServer& server_;
    Random& random_;
    std::filesystem::path folder_;
    MemoryValueStore values_;
    FakeSecretStore secrets_;
    std::unique_ptr<App> app_;
    /// By operation: it is looked at after each change while it is queued.
    std::map<std::string, std::map<std::string, std::string>> texts_;
};

}  // namespace tolvik::sim
