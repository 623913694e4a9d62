#include "server/api/question_plan.h"

#include <algorithm>
#include <fmt/format.h>
#include <set>

#include "base/json_writer.h"
#include "base/text.h"
#include "server/api/json_value.h"

namespace tolvik::server {
namespace {

constexpr std::size_t kMostTitles = 100;
constexpr std::size_t kLongestPlan = 300;

std::string array(const std::set<std::string>& names) {
    std::string out = "[";
    for (const auto& name : names) {
        out += out.size() == 1 ? "" : ",";
        appendJsonString(out, name);
    }
    return out + "]";
}

}  // namespace

std::string planInstructions() {
    return "You rewrite a question about tracked working time so that a strict program can answer it. Reply with one "
           "JSON object {\"question\": TEXT} and nothing else. TEXT must be exactly one of these forms, with names "
           "from the lists in double quotation marks and days as dates:\n"
           "how much time on \"NAME\" from 2026-01-01 to 2026-01-31\n"
           "how much did I work from DATE to DATE\n"
           "what did I do from DATE to DATE\n"
           "what did I do on \"NAME\" from DATE to DATE\n"
           "longest day from DATE to DATE\n"
           "shortest day from DATE to DATE\n"
           "which project took the most time from DATE to DATE\n"
           "which task took the most time from DATE to DATE\n"
           "average per day from DATE to DATE\n"
           "how many days did I work on \"NAME\" from DATE to DATE\n"
           "when did I last work on \"NAME\"\n"
           "what share of my time went to \"NAME\" from DATE to DATE\n"
           "The rewritten question must ask for exactly what was asked. If no form does, if it asks about parts of a "
           "day, other people, the future or anything else than tracked time, or if you are unsure which name or days "
           "are meant, reply {\"question\": null}.";
}

std::string planInput(std::string_view question, const AnswerLog& log, const AnswerFrame& frame) {
    std::set<std::string> projects;
    for (const auto& project : log.projects) {
        projects.insert(project.name);
    }
    std::set<std::string> titles;
    // The latest come last.
    for (auto task = log.tasks.rbegin(); task != log.tasks.rend() && titles.size() < kMostTitles; ++task) {
        titles.insert(task->title);
    }
    std::string out;
    {
        JsonObjectWriter json(out);
        json.text("question", question);
        json.text("today", frame.zone.dayOf(frame.now).text());
        json.text("weekBegins", "Monday");
        json.raw("projects", array(projects));
        json.raw("tasks", array(titles));
    }
    return out;
}

std::optional<Answer> answerOfPlan(std::string_view said, const AnswerLog& log, const AnswerFrame& frame) {
    const auto open = said.find('{');
    const auto close = said.rfind('}');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open) {
        return std::nullopt;
    }
    const auto object = readJsonObject(said.substr(open, close - open + 1));
    const auto* question =
        object && object->member("question") != nullptr ? object->member("question")->text() : nullptr;
    if (question == nullptr || question->size() > kLongestPlan) {
        return std::nullopt;
    }
    auto answer = answerQuestion(*question, log, frame);
    if (!answer) {
        return std::nullopt;
    }
    // Whoever asked sees what was answered.
    answer->text = fmt::format("I read this as: {}. {}", trimmed(*question), answer->text);
    return std::move(*answer);
}

}  // namespace tolvik::server
