#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "base/result.h"

namespace tolvik::server {

struct Announcement;
struct EndedSession;
class Transaction;

/// Why the database did not do it.
struct StorageProblem {
    enum class Kind : unsigned char {
        unavailable,  ///< not reachable, locked, or too busy; the same again later may work
        full,         ///< no room on the disk
        damaged,      ///< what is stored cannot be read, or was written by a newer version
    };
    Kind kind = Kind::unavailable;
    /// For the operator; holds no stored values.
    std::string text;
};

/// The server's memory. Any thread; calls block. Reads go on while something is written.
class Storage {
public:
    Storage() = default;
    Storage(const Storage&) = delete;
    Storage& operator=(const Storage&) = delete;
    virtual ~Storage() = default;

    /// One unit of work. It may be called more than once when the database asks for that, so its only effects outside
    /// the transaction are results that the next call overwrites.
    using Work = std::function<void(Transaction&)>;

    /// Runs the units in order, each undone alone when it fails, and commits them at once: when the call returns, what
    /// is reported as done is durable. One result for each unit. The more units that wait are handed over together (up
    /// to some hundred), the more a second are done.
    [[nodiscard]] virtual std::vector<Result<void, StorageProblem>> transact(std::span<const Work> units) = 0;

    /// Runs one unit on a consistent state; what it would write is refused.
    [[nodiscard]] virtual Result<void, StorageProblem> read(const Work& unit) = 0;

    /// How many `transact` calls do work at the same time (more wait for one another): 1 for a single file.
    [[nodiscard]] virtual std::size_t lanes() const = 0;

    /// Answers whether the database can be reached, for health checks; cheap.
    [[nodiscard]] virtual Result<void, StorageProblem> check() = 0;

    /// What other instances that share this database announced, after it was durable; never what this one did, which
    /// is in its outcomes. Called on a thread of the storage. Set once, before the first request.
    virtual void onAnnouncement(std::function<void(const Announcement&)> told) = 0;
    /// Likewise for sessions that other instances ended.
    virtual void onEnded(std::function<void(const EndedSession&)> told) = 0;
    /// The storage hears other instances from now on, for the first time or again (within the call when it does so
    /// already): any user's records may have changed before without a word.
    virtual void onGap(std::function<void()> told) = 0;
};

}  // namespace tolvik::server
