#include "commands/ask_command.h"

#include <nlohmann/json.hpp>

#include "ai/answer/answer.h"
#include "commands/report_command.h"
#include "commands/words.h"

namespace tolvik {

CommandResponse runAsk(const AppStore& store, const Clock& clock, const TimeZone& zone, const CommandRequest& request) {
    using Json = nlohmann::ordered_json;
    // A request without options: what is left is the locale's week.
    const auto query = reportQueryOf({}, zone.dayOf(clock.now()));
    const auto answer = answerQuestion(request.text(), {store.tasks(), store.tags(), store.timeEntries()},
                                       {clock.now(), zone, query ? query->firstWeekday : ReportQuery{}.firstWeekday});
    CommandResponse response;
    response.exit = answer ? ExitCode::done : ExitCode::nothing;
    const auto& text = answer ? answer->text : answer.error().text;
    if (!request.has("json")) {
        (answer ? response.out : response.error) = oneLine(text) + "\n";
        return response;
    }
    Json citations = Json::array();
    if (answer) {
        for (const auto& citation : answer->citations) {
            const auto* task = store.taskById(citation.taskId);
            citations.push_back(Json{{"taskId", citation.taskId.text()},
                                     {"taskTitle", task == nullptr ? "Unknown" : task->title},
                                     {"timeMs", citation.timeMs}});
        }
    }
    response.out =
        Json{
            {"answer", text}, {"refused", !answer}, {"totalMs", answer ? answer->totalMs : 0}, {"citations", citations}}
            .dump(-1, ' ', false, Json::error_handler_t::replace) +
        "\n";
    return response;
}

}  // namespace tolvik
