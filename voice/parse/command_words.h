#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tolvik {

/// The words of a switch or done sentence that name its task, as cut by the sentence's own frame where no reference
/// prefix fits: "jump over to the invoice task" gives "invoice task" and "invoice". Most specific last; may be empty.
/// An element may be empty: the sentence ("ship it") means the running task.
[[nodiscard]] std::vector<std::string> framedReferences(std::string_view intent, std::string_view sentence);

/// The name of the task that a start sentence creates: without its prefix, or without its frame ("let's start"), then
/// without one article. Never empty unless the sentence is.
[[nodiscard]] std::string newTaskTitle(std::string_view sentence);

}  // namespace tolvik
