#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "adapters/sqlite/store_lock.h"
#include "services/paths.h"

namespace tolvik {

/// Whether this process is the one that has the log.
struct Claim {
    enum class Outcome : std::uint8_t {
        owner,    ///< `lock` is ours
        another,  ///< another desktop has it, and was told to show itself
        failed,   ///< `problem` says why, for the user
    };
    Outcome outcome = Outcome::failed;
    std::unique_ptr<StoreLock> lock;
    std::string problem;
};

/// Takes the log's lock; where another desktop has it, tells that one to show its window if `raise`. A short command
/// may hold the lock for a moment: waits for it or for a desktop, two seconds at most. Blocks.
[[nodiscard]] Claim claimLog(const Paths& paths, bool raise);

}  // namespace tolvik
