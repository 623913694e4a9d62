#include "commands/command_message.h"

#include <nlohmann/json.hpp>

#include "base/text.h"

namespace tolvik {
namespace {

using Json = nlohmann::json;

constexpr std::size_t kMostArguments = 10'000;
constexpr int kVersion = 1;

/// None when the text is no JSON, or nests deeper than a message does.
Json parsed(std::string_view bytes) {
    const auto shallow = [](int depth, Json::parse_event_t, Json&) { return depth <= 3; };
    return Json::parse(bytes, shallow, false);
}

bool isText(const Json& object, const char* key) {
    const auto found = object.find(key);
    return found != object.end() && found->is_string();
}

}  // namespace

std::optional<std::string> CommandRequest::option(const std::string& name) const {
    const auto found = options.find(name);
    return found == options.end() ? std::nullopt : std::optional(found->second);
}

std::string CommandRequest::text() const {
    return joined(arguments, " ");
}

std::string encode(const CommandRequest& request) {
    const Json json{{"version", kVersion},
                    {"command", request.command},
                    {"arguments", request.arguments},
                    {"options", request.options}};
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Result<CommandRequest, std::string> decodeRequest(std::string_view bytes) {
    const Json json = parsed(bytes);
    if (!json.is_object() || !isText(json, "command")) {
        return failure(std::string("the message is not a command"));
    }
    const auto version = json.find("version");
    if (version == json.end() || !version->is_number_integer() || version->get<std::int64_t>() != kVersion) {
        return failure(std::string("the command line and the running application are of different versions"));
    }
    CommandRequest request;
    request.command = json["command"].get<std::string>();
    if (const auto found = json.find("arguments"); found != json.end()) {
        if (!found->is_array() || found->size() > kMostArguments) {
            return failure(std::string("the message's arguments are not a list"));
        }
        for (const auto& item : *found) {
            if (!item.is_string()) {
                return failure(std::string("an argument of the message is not a text"));
            }
            request.arguments.push_back(item.get<std::string>());
        }
    }
    if (const auto found = json.find("options"); found != json.end()) {
        if (!found->is_object()) {
            return failure(std::string("the message's options are not an object"));
        }
        for (const auto& [name, value] : found->items()) {
            if (!value.is_string()) {
                return failure(std::string("an option of the message is not a text"));
            }
            request.options.emplace(name, value.get<std::string>());
        }
    }
    return request;
}

std::string encode(const CommandResponse& response) {
    const Json head{{"exitCode", static_cast<int>(response.exit)}, {"outBytes", response.out.size()}};
    std::string bytes = head.dump();
    bytes.reserve(bytes.size() + 1 + response.out.size() + response.error.size());
    bytes += '\n';
    bytes += response.out;
    bytes += response.error;
    return bytes;
}

Result<CommandResponse, std::string> decodeResponse(std::string_view bytes) {
    const std::string broken = "the answer is not one that this version understands";
    const auto end = bytes.find('\n');
    if (end == std::string_view::npos) {
        return failure(broken);
    }
    const Json head = parsed(bytes.substr(0, end));
    if (!head.is_object() || !head.contains("exitCode") || !head["exitCode"].is_number_unsigned() ||
        !head.contains("outBytes") || !head["outBytes"].is_number_unsigned()) {
        return failure(broken);
    }
    const auto exit = head["exitCode"].get<std::uint64_t>();
    const auto size = head["outBytes"].get<std::uint64_t>();
    const auto rest = bytes.substr(end + 1);
    if (exit > static_cast<std::uint64_t>(ExitCode::environment) || size > rest.size()) {
        return failure(broken);
    }
    return CommandResponse{static_cast<ExitCode>(exit), std::string(rest.substr(0, size)),
                           std::string(rest.substr(size))};
}

}  // namespace tolvik
