#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "voice/parse/command.h"
#include "voice/parse/sentence_vectors.h"

namespace tolvik {

/// The candidate that a reference names.
struct TaskMatch {
    TaskInfo task;
    /// From 0 to 1.
    double confidence = 0;
    /// "position", "exact", "embedding" or "fuzzy".
    std::string method;
};

/// Finds the candidate that `reference` names ("task two", "the previous one", a title or a part of it, something alike
/// in meaning or spelling). `fallback` stands in for an empty reference. `vectors` may be null: then meaning is not
/// asked.
[[nodiscard]] std::optional<TaskMatch> matchTask(std::string_view reference, const std::vector<TaskInfo>& tasks,
                                                 std::string_view fallback, SentenceVectors* vectors = nullptr);

/// The position that a reference names, counted from 1: "task two", "task number 2", "second task", "the second one".
[[nodiscard]] std::optional<int> spokenPosition(std::string_view reference);

/// Whether the reference means the task before the running one.
[[nodiscard]] bool isPreviousReference(std::string_view reference);

}  // namespace tolvik
