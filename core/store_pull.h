#pragma once

#include <cstddef>
#include <optional>
#include <utility>

#include "core/merge.h"

namespace tolvik {

/// A pull as the store sees it, from before it is asked for until it is merged. Made by `AppStore::beginPull`; the copy
/// may be read on a worker once it is complete.
class StorePull {
public:
    /// The log as it is compared. Records that change while it is copied are in `touched`.
    WholeLog copy;
    /// Records that changed here since the pull began.
    IdSet touched;
    /// A task or project went meanwhile: what is pulled may still name it.
    bool vanished = false;
    /// The log became another one; the pull has no meaning any more.
    bool isVoid = false;

private:
    friend class AppStore;
    /// The collection that is being copied and its next piece.
    std::size_t collection = 0;
    std::size_t piece = 0;
};

/// What a pull is to do to the log.
struct PullPlan {
    MergePlan merge;
    std::optional<DayKey> earliestDate;
};

/// What it did.
struct PullOutcome {
    /// Records that are different now.
    std::size_t changed = 0;
    /// Records that the server lacked and that are queued for creation.
    std::size_t queued = 0;
    /// Pulled records that fit nowhere.
    std::size_t strays = 0;
    /// The whole log became another meanwhile: nothing was merged, and all is to be pulled again.
    bool isVoid = false;
};

}  // namespace tolvik
