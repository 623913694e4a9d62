#include "commands/task_lookup.h"

#include <algorithm>
#include <functional>

#include "base/text.h"
#include "commands/likeness.h"

namespace tolvik {
namespace {

/// Above it a title counts as misspelt and not as another one.
constexpr double kNearlyTheSame = 0.7;

template <class Record>
using Fits = std::function<bool(const Record&)>;

template <class Record>
std::vector<const Record*> all(const std::vector<Record>& records, const Fits<Record>& fits) {
    std::vector<const Record*> found;
    for (const auto& record : records) {
        if (fits(record)) {
            found.push_back(&record);
        }
    }
    return found;
}

void sortLikeliestFirst(std::vector<const TaskModel*>& tasks) {
    std::ranges::stable_sort(tasks, [](const TaskModel* a, const TaskModel* b) {
        if (a->isOpen() != b->isOpen()) {
            return a->isOpen();
        }
        return b->updatedAt < a->updatedAt;
    });
}

/// The answer of a step that only counts when one open record fits, or no open one and one other.
Lookup<TaskModel> theOnlyOne(std::vector<const TaskModel*> fitting) {
    sortLikeliestFirst(fitting);
    const auto open = static_cast<std::size_t>(std::ranges::count_if(fitting, &TaskModel::isOpen));
    if (open > 0) {
        fitting.resize(open);
    }
    if (fitting.size() == 1) {
        return {fitting.front(), {}};
    }
    return {nullptr, std::move(fitting)};
}

}  // namespace

Lookup<TaskModel> lookUpTask(const std::vector<TaskModel>& tasks, std::string_view name) {
    const Identifier id(name);
    for (const auto& task : tasks) {
        if (task.id == id && !id.isEmpty()) {
            return {&task, {}};
        }
    }
    const auto wanted = caseFolded(trimmed(name));
    if (wanted.empty()) {
        return {};
    }
    std::vector<std::string> titles;
    titles.reserve(tasks.size());
    for (const auto& task : tasks) {
        titles.push_back(caseFolded(task.title));
    }
    const auto titleOf = [&](const TaskModel& task) -> const std::string& {
        return titles[static_cast<std::size_t>(&task - tasks.data())];
    };
    auto exact = all<TaskModel>(tasks, [&](const TaskModel& task) { return titleOf(task) == wanted; });
    if (!exact.empty()) {
        sortLikeliestFirst(exact);
        return {exact.front(), {}};
    }
    auto partial = theOnlyOne(
        all<TaskModel>(tasks, [&](const TaskModel& task) { return titleOf(task).find(wanted) != std::string::npos; }));
    if (partial.found != nullptr || !partial.candidates.empty()) {
        return partial;
    }
    return theOnlyOne(all<TaskModel>(
        tasks, [&](const TaskModel& task) { return spellingLikeness(titleOf(task), wanted) > kNearlyTheSame; }));
}

Lookup<TagModel> lookUpProject(const std::vector<TagModel>& projects, std::string_view name) {
    const Identifier id(name);
    const auto wanted = caseFolded(trimmed(name));
    for (const auto& project : projects) {
        if (project.id == id && !id.isEmpty()) {
            return {&project, {}};
        }
    }
    if (wanted.empty()) {
        return {};
    }
    const auto exact =
        all<TagModel>(projects, [&](const TagModel& project) { return caseFolded(project.name) == wanted; });
    if (!exact.empty()) {
        return {exact.front(), {}};
    }
    auto partial = all<TagModel>(
        projects, [&](const TagModel& project) { return caseFolded(project.name).find(wanted) != std::string::npos; });
    if (partial.size() == 1) {
        return {partial.front(), {}};
    }
    return {nullptr, std::move(partial)};
}

}  // namespace tolvik
