#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <sqlite3.h>
#include <string>
#include <vector>

namespace tolvik {

/// A disk in memory for SQLite, with a cache that is lost when the power goes. What was synced stays; of the writes
/// since then any sectors may have reached the disk, in any order, and the others not.
class PowerCutVfs {
public:
    PowerCutVfs();
    PowerCutVfs(const PowerCutVfs&) = delete;
    PowerCutVfs& operator=(const PowerCutVfs&) = delete;
    ~PowerCutVfs();

    [[nodiscard]] const std::string& name() const { return name_; }

    /// The power goes at the `step`-th write, sync, truncation or deletion from now, which no longer happens. 0: never.
    void cutAt(std::int64_t step) {
        cutAt_ = step;
        steps_ = 0;
    }
    [[nodiscard]] bool isCut() const { return cut_; }
    /// Steps since `cutAt`.
    [[nodiscard]] std::int64_t steps() const { return steps_; }

    /// The power is back: files hold what had reached the disk. The seed decides on what was not synced.
    void restore(std::uint64_t seed);

    // --- for the file methods ---
    struct Change {
        std::int64_t at = 0;
        std::string bytes;
        /// A truncation to `at`.
        bool truncates = false;
    };
    struct File {
        std::string now;
        std::string synced;
        std::vector<Change> unsynced;
        bool everSynced = false;
    };
    /// Counts a step; false when the power is gone.
    bool step();
    std::map<std::string, std::shared_ptr<File>> files;

private:
    std::string name_;
    sqlite3_vfs vfs_{};
    std::int64_t cutAt_ = 0;
    std::int64_t steps_ = 0;
    bool cut_ = false;
};

}  // namespace tolvik
