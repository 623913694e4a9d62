#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "ai/answer/answer.h"

namespace tolvik::server {

/// What a language model is told when it is to put a question into one of the forms that the rules understand.
[[nodiscard]] std::string planInstructions();
/// The question with the present and the names that it may mean. Other figures of the log never leave the server.
[[nodiscard]] std::string planInput(std::string_view question, const AnswerLog& log, const AnswerFrame& frame);

/// The answer to the question that the model wrote instead: every figure of it is added up from the log by the rules,
/// none is the model's. The text begins with the question that was answered. None when the model gave no such question
/// or the rules refuse it too.
[[nodiscard]] std::optional<Answer> answerOfPlan(std::string_view said, const AnswerLog& log, const AnswerFrame& frame);

}  // namespace tolvik::server
