#include "reports/project_summary.h"

#include <algorithm>
#include <unordered_map>

namespace tolvik {

std::size_t ProjectSummary::entryCount() const {
    std::size_t count = 0;
    for (const TaskSummary& task : tasks) {
        count += task.entryCount;
    }
    return count;
}

std::vector<ProjectSummary> summarize(std::span<const Resolved> rows) {
    std::vector<ProjectSummary> out;
    std::unordered_map<const TagModel*, std::size_t> projects;
    // A task has one project, so it is found by itself; what is gone belongs to the untagged group.
    std::unordered_map<const TaskModel*, std::size_t> tasks;
    for (const Resolved& row : rows) {
        const auto [project, isNewProject] = projects.emplace(row.project, out.size());
        if (isNewProject) {
            out.push_back({row.project, {}, 0});
        }
        ProjectSummary& summary = out[project->second];
        const auto [task, isNewTask] = tasks.emplace(row.task, summary.tasks.size());
        if (isNewTask) {
            summary.tasks.push_back({row.task, 0, 0});
        }
        summary.totalMs += row.durationMs;
        summary.tasks[task->second].totalMs += row.durationMs;
        ++summary.tasks[task->second].entryCount;
    }
    std::ranges::stable_sort(out, [](const ProjectSummary& a, const ProjectSummary& b) {
        if ((a.project == nullptr) != (b.project == nullptr)) {
            return b.project == nullptr;
        }
        return a.totalMs > b.totalMs;
    });
    for (ProjectSummary& summary : out) {
        std::ranges::stable_sort(summary.tasks, std::greater<>{}, &TaskSummary::totalMs);
    }
    return out;
}

}  // namespace tolvik
