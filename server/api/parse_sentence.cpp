#include <algorithm>

#include "base/json_writer.h"
#include "server/api/handlers.h"
#include "server/api/parse_request.h"
#include "server/api/replies.h"
#include "voice/parse/local_voice_parser.h"

namespace tolvik::server {
namespace {

constexpr Millis window{std::chrono::minutes{10}};
constexpr std::int64_t mostSentences = 600;
constexpr double leastSure = 0.5;
/// From here on the device would have carried it out by itself.
constexpr double sure = 0.85;

/// The ids that were sent may be any text; the parser gets their places for them.
Identifier placeId(std::size_t place) {
    return Identifier::fromRandom(0, place);
}

Intent answer(AppState& app, const ParseRequest& request) {
    std::vector<TaskInfo> tasks;
    for (std::size_t i = 0; i < request.tasks.size(); ++i) {
        const SentTask& task = request.tasks[i];
        tasks.push_back({placeId(i), task.title, task.position, task.isActive});
    }
    const ParseResult parsed = app.parser().parse(request.transcript, tasks);
    if (parsed.confidence < sure && app.ports.languageModel != nullptr) {
        if (const auto said = app.ports.languageModel->complete(modelInstructions(), modelInput(request))) {
            if (auto checked = checkedAnswer(*said, request)) {
                return *std::move(checked);
            }
        }
    }
    if (parsed.confidence < leastSure || parsed.action == "unknown") {
        return {};
    }
    Intent out{parsed.action, std::nullopt, parsed.taskTitle, parsed.reason};
    const auto found =
        std::ranges::find(tasks, parsed.taskId, [](const TaskInfo& task) { return std::optional(task.id); });
    if (parsed.taskId && found != tasks.end()) {
        out.taskId = request.tasks[static_cast<std::size_t>(found - tasks.begin())].id;
    }
    return out;
}

Response understood(AppState& app, const Request& request) {
    const auto asked = readParseRequest(request.body);
    if (!asked) {
        return badRequest(asked.error());
    }
    const Intent intent = answer(app, *asked);
    std::string out;
    {
        JsonObjectWriter writer(out);
        writer.text("action", intent.action);
        if (intent.taskId) {
            writer.text("taskId", *intent.taskId);
        }
        writer.text("task", intent.task);
        if (intent.reason) {
            writer.text("reason", *intent.reason);
        }
    }
    return json(std::move(out));
}

}  // namespace

Outcome parseSentence(Context& context) {
    if (auto over = overLimit(context, "parse:" + context.session.userId, mostSentences, window)) {
        return {*std::move(over)};
    }
    Outcome out;
    out.slow = [&app = context.app](const Request& request) { return understood(app, request); };
    return out;
}

}  // namespace tolvik::server
