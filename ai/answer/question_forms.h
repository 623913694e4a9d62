#pragma once

#include <span>
#include <string>

#include "ai/answer/question.h"
#include "base/text.h"

namespace tolvik {

/// One way to ask. The words of a question with its period taken out must match from end to end; each group is a name.
/// Where a form compares periods, each of them is left as "@".
struct QuestionForm {
    Intent intent;
    Pattern words;
    /// How many periods it takes at least and at most.
    std::size_t fewestPeriods = 0;
    std::size_t mostPeriods = 1;
    /// The name must be written as it is in the log.
    bool exactName = false;
};

/// All forms. Any thread.
[[nodiscard]] std::span<const QuestionForm> questionForms();

}  // namespace tolvik
