#pragma once

#include <string_view>
#include <vector>

#include "core/records.h"

namespace tolvik {

/// What a name on the command line may stand for.
template <class Record>
struct Lookup {
    /// The record that is meant; null when there is none or more than one.
    const Record* found = nullptr;
    /// When the name fits several: these, the likeliest first.
    std::vector<const Record*> candidates;
};

/// A task by its id, else by its exact title regardless of case (open before done, then the latest changed), else by a
/// part of a title, else by a title of nearly that spelling; the last two only when one task alone fits, and the open
/// ones are asked first. The pointers point into `tasks`.
[[nodiscard]] Lookup<TaskModel> lookUpTask(const std::vector<TaskModel>& tasks, std::string_view name);

/// A project by its id, its exact name, or a part of the name that only one has.
[[nodiscard]] Lookup<TagModel> lookUpProject(const std::vector<TagModel>& projects, std::string_view name);

}  // namespace tolvik
