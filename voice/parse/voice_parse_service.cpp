#include "voice/parse/voice_parse_service.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <spdlog/spdlog.h>
#include <utility>

#include "base/json_reader.h"
#include "base/json_writer.h"

namespace tolvik {
namespace {

constexpr Millis kTimeout{15'000};
constexpr std::size_t kLargestAnswer = 1'000'000;
constexpr std::array<std::string_view, 5> kKnownActions{"start", "switch", "done", "stop", "none"};

std::string bodyFor(std::string_view transcript, const std::vector<BackendParser::Candidate>& tasks,
                    std::string_view dictionary) {
    std::string list = "[";
    for (const auto& [task, status] : tasks) {
        if (list.size() > 1) {
            list += ',';
        }
        JsonObjectWriter json(list);
        json.text("id", task.id.text());
        json.text("title", task.title);
        json.number("position", task.position);
        json.boolean("isActive", task.isActive);
        json.text("status", status);
    }
    list += ']';
    std::string body;
    {
        JsonObjectWriter json(body);
        json.text("transcript", transcript);
        json.raw("tasks", list);
        json.text("dictionary", dictionary);
    }
    return body;
}

VoiceParseError refusalError(RequestRefusal refusal) {
    switch (refusal) {
        case RequestRefusal::notSignedIn:
            return {VoiceParseError::Kind::api, 401, "not signed in"};
        case RequestRefusal::insecure:
            return {VoiceParseError::Kind::api, 0, "refusing to send token over plain HTTP"};
        case RequestRefusal::invalidUrl:
            break;
    }
    return {VoiceParseError::Kind::api, 0, "Invalid backend URL"};
}

std::optional<std::string> textMember(const simdjson::dom::object& object, std::string_view key) {
    std::string_view text;
    return object.at_key(key).get(text) == simdjson::SUCCESS ? std::optional(std::string(text)) : std::nullopt;
}

Result<BackendParser::Command, VoiceParseError> readCommand(std::string_view body) {
    JsonReader reader({.bytes = kLargestAnswer});
    const auto object = reader.readObject(body);
    auto action = object ? textMember(*object, "action") : std::nullopt;
    if (!action) {
        return failure(VoiceParseError{VoiceParseError::Kind::parse, 200, "Invalid response structure"});
    }
    BackendParser::Command command;
    command.action = std::ranges::find(kKnownActions, *action) == kKnownActions.end() ? "none" : *action;
    if (const auto id = textMember(*object, "taskId")) {
        command.taskId = Identifier(*id);
    }
    command.taskTitle = textMember(*object, "task").value_or("");
    command.reason = textMember(*object, "reason");
    return command;
}

}  // namespace

std::string describe(const VoiceParseError& error) {
    switch (error.kind) {
        case VoiceParseError::Kind::api:
            return fmt::format("Voice parse failed ({}): {}", error.status, error.message);
        case VoiceParseError::Kind::parse:
            return "Parse error: " + error.message;
        case VoiceParseError::Kind::transport:
            break;
    }
    return error.message;
}

Result<BackendParser::Command, VoiceParseError> VoiceParseService::read(const Result<HttpResponse, HttpFailure>& answer,
                                                                        const std::string& token) {
    if (!answer) {
        return answer.error().kind == HttpFailure::Kind::invalidUrl
                   ? failure(refusalError(RequestRefusal::invalidUrl))
                   : failure(VoiceParseError{VoiceParseError::Kind::transport, 0, answer.error().description});
    }
    if (answer->status == 200) {
        return readCommand(answer->body);
    }
    if (answer->status == 401) {
        ports_.session.handleUnauthorized(token);
    }
    return failure(VoiceParseError{VoiceParseError::Kind::api, answer->status, briefServerMessage(answer->body)});
}

BackendParser::Request VoiceParseService::ask(std::string_view transcript, const std::vector<Candidate>& tasks,
                                              std::string_view dictionary,
                                              std::function<void(Result<Command, VoiceParseError>)> done) {
    auto request = authorisedRequest(ports_.endpoint, ports_.session,
                                     {.method = "POST",
                                      .path = "/voice/parse",
                                      .timeout = kTimeout,
                                      .body = bodyFor(transcript, tasks, dictionary)});
    if (!request) {
        auto waiting = std::make_shared<Timer>();
        *waiting = ports_.loop.after(
            Millis{0}, [done = std::move(done), error = refusalError(request.error())] { done(failure(error)); });
        return waiting;
    }
    return ports_.http.send(std::move(request->request),
                            [this, token = request->token, done = std::move(done)](
                                const Result<HttpResponse, HttpFailure>& answer) { done(read(answer, token)); });
}

BackendParser::Request VoiceParseService::parse(std::string_view transcript, const std::vector<Candidate>& tasks,
                                                std::string_view dictionary,
                                                std::function<void(std::optional<Command>)> done) {
    return ask(transcript, tasks, dictionary, [done = std::move(done)](Result<Command, VoiceParseError> answer) {
        if (!answer) {
            spdlog::info("the server's parser was not used: {}", describe(answer.error()));
        }
        done(answer ? std::optional(std::move(*answer)) : std::nullopt);
    });
}

}  // namespace tolvik
