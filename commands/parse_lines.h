#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "voice/parse/command.h"

namespace tolvik {

/// Reads candidates: a JSON array of objects with "id" and "title" and, where present, "position" and "isActive". A
/// position that is missing is the place in the list. The error names the place.
[[nodiscard]] Result<std::vector<TaskInfo>, std::string> readCandidates(std::string_view json);
/// Writes them in the same form.
[[nodiscard]] std::string writeCandidates(const std::vector<TaskInfo>& tasks);

/// One line of JSON with the keys action, taskId, taskTitle, reason, confidence and method.
[[nodiscard]] std::string parseJson(const ParseResult& result);
/// The same for a person.
[[nodiscard]] std::string parseWords(const ParseResult& result);

}  // namespace tolvik
