#include "tests/simulation/sim_world.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <unistd.h>

#include "tests/simulation/sim_device.h"

namespace tolvik::sim {
namespace {

constexpr std::array<std::string_view, 6> kZones{"UTC",          "Europe/Helsinki",  "America/New_York",
                                                 "Asia/Kolkata", "Pacific/Auckland", "America/Sao_Paulo"};

/// The queue's files need no disk: they lie in memory where the system has such a place.
class Scratch {
public:
    Scratch() {
        const bool shared = ::access("/dev/shm", W_OK) == 0;
        std::string pattern = ((shared ? std::filesystem::path("/dev/shm") : std::filesystem::temp_directory_path()) /
                               "tolvik-sim-XXXXXX")
                                  .string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            throw Violation{"no folder for the queues"};
        }
        path = pattern;
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    ~Scratch() { std::filesystem::remove_all(path); }
    std::filesystem::path path;
};

class World {
public:
    World(std::uint64_t seed, RunStatistics& statistics)
        : random_(seed * 7919 + 1), server_(clock_, someSkew(), seed + 17), statistics_(statistics) {
        // Some runs begin just before a day, a month or summer time ends somewhere.
        clock_.set(Instant{1'793'000'000'000 + static_cast<std::int64_t>(below(40ULL * 86'400'000))});
        server_.onEvent = [this](const std::string& user, const std::string& device, bool ended) {
            for (const auto& one : devices_) {
                one->link.announce(user, device, ended);
            }
        };
        const std::size_t count = 2 + below(3);
        for (std::size_t i = 0; i < count; ++i) {
            devices_.push_back(std::make_unique<SimDevice>(std::string(1, static_cast<char>('a' + i)), loop_, clock_,
                                                           someSkew(), kZones.at(below(kZones.size())), server_,
                                                           random_, scratch_.path / std::to_string(i)));
        }
        foul_ = below(3) != 0;
    }

    void run() {
        for (const auto& device : devices_) {
            if (below(4) != 0) {
                device->signIn("user@example.org");
            }
            changeWeather(*device);
        }
        const std::size_t steps = 40 + below(80);
        for (std::size_t i = 0; i < steps; ++i) {
            step();
            loop_.runFor(somePause());
            checkServer();
        }
        quiet();
        compare();
    }

private:
    std::uint64_t below(std::uint64_t limit) { return random_.next() % limit; }
    Millis someSkew() {
        switch (below(4)) {
            case 0:
                return Millis{static_cast<std::int64_t>(below(7'200'000)) - 3'600'000};
            case 1:
                return Millis{static_cast<std::int64_t>(below(20'000)) - 10'000};
            default:
                return Millis{0};
        }
    }
    Millis somePause() {
        switch (below(12)) {
            case 0:
                return Millis{static_cast<std::int64_t>(below(10ULL * 3'600'000))};
            case 1:
            case 2:
                return Millis{static_cast<std::int64_t>(below(300'000))};
            case 3:
            case 4:
            case 5:
                return Millis{static_cast<std::int64_t>(below(20'000))};
            default:
                return Millis{static_cast<std::int64_t>(below(1'500))};
        }
    }

    void step() {
        SimDevice& device = *devices_[below(devices_.size())];
        const std::uint64_t what = below(100);
        if (what < 3) {
            server_.isUp = false;
            loop_.runFor(Millis{static_cast<std::int64_t>(below(40'000))});
            server_.restart();
            server_.isUp = true;
        } else if (what < 8) {
            changeWeather(device);
        }
        if (!device.isRunning()) {
            device.start();
            return;
        }
        if (what >= 8 && what < 14) {
            ++statistics_.crashes;
            device.stop(below(3) != 0);
            if (below(2) == 0) {
                device.start();
            }
            return;
        }
        if (what < 18 && what >= 14) {
            device.zone.set(kZones.at(below(kZones.size())));
        } else if (what < 20 && what >= 18 && device.isSignedIn()) {
            if (below(2) == 0) {
                device.signOut();
            } else {
                server_.revoke(device.token());
            }
        } else if (what < 21 && what >= 20) {
            device.import();
        } else if (what < 30 && what >= 21 && !device.isSignedIn()) {
            device.signIn(below(6) == 0 ? "other@example.org" : "user@example.org");
        } else {
            ++statistics_.actions;
            device.act();
        }
    }

    void changeWeather(SimDevice& device) {
        Weather& weather = device.link.weather;
        weather = {};
        if (!foul_) {
            weather.isOffline = below(3) == 0;
            return;
        }
        weather.isOffline = below(3) == 0;
        weather.lose = static_cast<unsigned>(below(200));
        weather.loseReply = static_cast<unsigned>(below(300));
        weather.duplicate = static_cast<unsigned>(below(400));
        weather.refuse = static_cast<unsigned>(below(200));
        weather.cutStream = static_cast<unsigned>(below(100));
        weather.slowest = Millis{static_cast<std::int64_t>(100 + below(below(4) == 0 ? 20'000 : 600))};
    }

    /// The server's records fit together whenever a queue has drained.
    void checkServer() {
        for (const auto& device : devices_) {
            if (!device->isRunning() || std::exchange(device->drained, 0) == 0 || device->token().empty()) {
                continue;
            }
            ++statistics_.drains;
            PullResponse all;
            try {
                all = server_.everything(device->token());
            } catch (const Violation&) {
                continue;  // the session was ended meanwhile
            }
            std::size_t active = 0;
            std::size_t running = 0;
            Identifier task;
            for (const TimeEntry& entry : all.log.timeEntries) {
                if (entry.isRunning()) {
                    ++running;
                    task = entry.taskId;
                }
            }
            for (const TaskModel& one : all.log.tasks) {
                active += one.isActive ? 1 : 0;
                if ((one.isActive && one.id != task) || (one.status == "done") != one.completedAt.has_value()) {
                    throw Violation{"the server's task " + one.id.text() + " does not fit"};
                }
                const bool known = !one.tagId || std::ranges::any_of(all.log.tags, [&](const TagModel& tag) {
                    return tag.id == *one.tagId;
                });
                if (!known) {
                    throw Violation{"the server's task " + one.id.text() + " is of no project"};
                }
            }
            if (running > 1 || active != running) {
                throw Violation{fmt::format("on the server {} entries run, {} tasks are active", running, active)};
            }
        }
    }

    void quiet() {
        for (const auto& device : devices_) {
            device->link.weather = {};
            device->start();
        }
        // Duplicates that are still under way arrive.
        loop_.runFor(Millis{120'000});
        // Everybody ends on the first account; a user who was away comes back once more. Codes are limited by the hour.
        for (int attempt = 0; attempt < 40; ++attempt) {
            bool good = true;
            for (const auto& device : devices_) {
                if (device->isSignedIn() && isOther(*device)) {
                    drain(*device);
                    device->signOut();
                }
                if (!device->isSignedIn()) {
                    device->signIn("user@example.org");
                }
                good = good && device->isSignedIn();
            }
            if (good) {
                break;
            }
            loop_.runFor(Millis{900'000});
        }
        // A stream lives for an hour at most; whoever comes back pulls everything.
        loop_.runFor(Millis{75 * 60'000});
    }

    bool isOther(SimDevice& device) {
        if (mainUser_.empty()) {
            const auto session = server_.signIn("user@example.org");
            if (!session) {
                return false;
            }
            mainUser_ = session->userId;
        }
        return device.userId() != mainUser_;
    }

    void drain(SimDevice& device) {
        for (int i = 0; i < 60 && device.pending() > 0; ++i) {
            loop_.runFor(Millis{10'000});
        }
    }

    void compare() {
        const auto sorted = [](auto records) {
            std::ranges::sort(records, {}, [](const auto& record) { return record.id.text(); });
            return records;
        };
        for (const auto& device : devices_) {
            const auto fail = [&](const std::string& what) { throw Violation{device->name + ", at the end: " + what}; };
            if (!device->isSignedIn()) {
                fail("is not signed in");
            }
            if (device->pending() > 0) {
                fail(fmt::format("{} operations still wait", device->pending()));
            }
            if (device->kept() > 0) {
                fail(fmt::format("{} operations that were carried out are kept", device->kept()));
            }
            const PullResponse all = server_.everything(device->token());
            const WholeLog log = device->log();
            sameRecords(*device, "task", sorted(log.tasks), sorted(all.log.tasks));
            sameRecords(*device, "entry", sorted(log.timeEntries), sorted(all.log.timeEntries));
            sameRecords(*device, "switch", sorted(log.switchLogs), sorted(all.log.switchLogs));
            sameRecords(*device, "project", sorted(log.tags), sorted(all.log.tags));
            std::vector<DictEntry> theirs;
            for (const ServerDictEntry& entry : all.dictionaries) {
                theirs.push_back({entry.id, entry.term, entry.hint, entry.tagId});
            }
            if (sorted(device->terms()) != sorted(theirs)) {
                fail("other terms than on the server");
            }
            for (const auto& [owner, id] : device->imported) {
                const bool deleted =
                    std::ranges::any_of(devices_, [&](const auto& other) { return other->deletedTasks.contains(id); });
                if (owner == device->userId() && !deleted &&
                    std::ranges::find(all.log.tasks, id, &TaskModel::id) == all.log.tasks.end()) {
                    fail("imported task " + id.text() + " is lost");
                }
            }
            server_.checkAccount(device->userId(), device->token());
        }
    }

    template <class Record>
    void sameRecords(const SimDevice& device, const char* kind, const std::vector<Record>& mine,
                     const std::vector<Record>& theirs) {
        if (mine == theirs) {
            return;
        }
        std::string told;
        const auto tell = [&](const char* side, const auto& records, const auto& others) {
            for (const Record& record : records) {
                if (std::ranges::find(others, record) == others.end()) {
                    told += std::string("\n  ") + side + ": ";
                    appendRecord(told, record);
                }
            }
        };
        tell("device", mine, theirs);
        tell("server", theirs, mine);
        throw Violation{fmt::format("{}, at the end: {} records differ{}", device.name, kind, told)};
    }

    FakeClock clock_;
    VirtualMainLoop loop_{clock_};
    FakeRandom random_;
    SimServer server_;
    RunStatistics& statistics_;
    Scratch scratch_;
    std::vector<std::unique_ptr<SimDevice>> devices_;
    std::string mainUser_;
    bool foul_ = false;
};

}  // namespace

std::optional<std::string> runSeed(std::uint64_t seed, RunStatistics& statistics) {
    try {
        World(seed, statistics).run();
    } catch (const Violation& violation) {
        return violation.what;
    }
    return std::nullopt;
}

}  // namespace tolvik::sim
