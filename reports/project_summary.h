#pragma once

#include <span>
#include <vector>

#include "reports/export_rows.h"

namespace tolvik {

struct TaskSummary {
    /// Null for entries whose task is gone.
    const TaskModel* task = nullptr;
    std::int64_t totalMs = 0;
    std::size_t entryCount = 0;
};

struct ProjectSummary {
    /// Null for the untagged group.
    const TagModel* project = nullptr;
    /// The largest first.
    std::vector<TaskSummary> tasks;
    std::int64_t totalMs = 0;

    [[nodiscard]] std::size_t entryCount() const;
};

/// The rows by project and task, the largest first, the untagged group last. Tasks that are gone are summed as one.
[[nodiscard]] std::vector<ProjectSummary> summarize(std::span<const Resolved> rows);

}  // namespace tolvik
