#include "commands/parse_lines.h"

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "commands/words.h"

namespace tolvik {
namespace {

using Json = nlohmann::ordered_json;

/// The line and column of a byte, from 1.
std::string placeOf(std::string_view text, std::size_t byte) {
    const auto before = text.substr(0, std::min(byte, text.size()));
    const auto line = std::count(before.begin(), before.end(), '\n') + 1;
    const auto start = before.rfind('\n');
    const auto column = start == std::string_view::npos ? before.size() + 1 : before.size() - start;
    return fmt::format("line {}, column {}", line, column);
}

}  // namespace

Result<std::vector<TaskInfo>, std::string> readCandidates(std::string_view text) {
    Json json;
    try {
        const auto shallow = [](int depth, Json::parse_event_t, Json&) { return depth <= 16; };
        json = Json::parse(text, shallow);
    } catch (const Json::parse_error& error) {
        return failure("not JSON: " + placeOf(text, error.byte > 0 ? error.byte - 1 : 0));
    }
    if (!json.is_array()) {
        return failure(std::string("not a JSON array"));
    }
    std::vector<TaskInfo> tasks;
    for (std::size_t i = 0; i < json.size(); ++i) {
        const auto& item = json[i];
        const auto wrong = [&](std::string_view what) { return failure(fmt::format("[{}]: {}", i, what)); };
        if (!item.is_object()) {
            return wrong("not an object");
        }
        for (const char* key : {"id", "title"}) {
            if (!item.contains(key) || !item[key].is_string()) {
                return wrong(fmt::format("\"{}\" is missing or no text", key));
            }
        }
        TaskInfo task{Identifier(item["id"].get<std::string>()), item["title"].get<std::string>(),
                      static_cast<int>(i) + 1, false};
        if (item.contains("position")) {
            if (!item["position"].is_number_integer()) {
                return wrong("\"position\" is no whole number");
            }
            task.position = item["position"].get<int>();
        }
        if (item.contains("isActive")) {
            if (!item["isActive"].is_boolean()) {
                return wrong("\"isActive\" is neither true nor false");
            }
            task.isActive = item["isActive"].get<bool>();
        }
        tasks.push_back(std::move(task));
    }
    return tasks;
}

std::string writeCandidates(const std::vector<TaskInfo>& tasks) {
    Json json = Json::array();
    for (const auto& task : tasks) {
        json.push_back(Json{
            {"id", task.id.text()}, {"title", task.title}, {"position", task.position}, {"isActive", task.isActive}});
    }
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string parseJson(const ParseResult& result) {
    const Json json{{"action", result.action},         {"taskId", result.taskId ? Json(result.taskId->text()) : Json()},
                    {"taskTitle", result.taskTitle},   {"reason", result.reason ? Json(*result.reason) : Json()},
                    {"confidence", result.confidence}, {"method", result.method}};
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string parseWords(const ParseResult& result) {
    std::string words = result.action;
    if (!result.taskTitle.empty()) {
        words += fmt::format(" {} “{}”", result.taskId ? "the task" : "a new task", oneLine(result.taskTitle));
    }
    return words + fmt::format("  ({}, {:.2f})", result.method, result.confidence);
}

}  // namespace tolvik
