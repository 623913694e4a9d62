#include "cli/doctor.h"

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <optional>
#include <unistd.h>

#include "adapters/socket/command_socket_client.h"
#include "adapters/sqlite/store_lock.h"
#include "base/text.h"
#include "cli/carry.h"
#include "cli/commands_here.h"
#include "cli/subprocess.h"
#include "commands/words.h"

namespace tolvik {
namespace {

using Json = nlohmann::ordered_json;
using State = Finding::State;

Finding lookAtStore(const Paths& paths) {
    const auto response = carryOut(paths, {"health", {}, {{"json", ""}}});
    const auto path = paths.database().string();
    const Json health = Json::parse(response.out, nullptr, false);
    if (response.exit != ExitCode::done || !health.is_object()) {
        return {"log", State::failed, fmt::format("{}: {}", path, trimmed(response.error)),
                "Mend what is said, or move the file aside to begin anew."};
    }
    StoreLock lock(paths.lock().string());
    std::string holder = "nobody has it open";
    if (lock.tryLock() == StoreLock::Outcome::elsewhere) {
        holder = fmt::format("held by process {}, which serves {}", lock.holder().value_or(0), paths.socket().string());
    }
    const auto notice = trimmed(response.error);
    const auto detail =
        fmt::format("{}: {} tasks, {} entries, {} switches, all readable; {}", path, health.value("tasks", 0),
                    health.value("entries", 0), health.value("switches", 0), holder);
    return {"log", notice.empty() ? State::fine : State::failed, notice.empty() ? detail : detail + "; " + notice, {}};
}

/// The program with the speech libraries says itself what it lacks.
Finding lookAtSpeech(const Paths& paths) {
    const auto output = runSubprocess(paths.programs / "tolvik-hear", {"--check"}, "");
    const Json json = output ? Json::parse(*output, nullptr, false) : Json();
    if (!json.is_object() || !json.contains("missing")) {
        return {"speech", State::missing, output ? "recognition does not start" : output.error(),
                "Build or install the desktop application as well."};
    }
    const auto missing = json.value("missing", std::string());
    if (missing.empty()) {
        return {"speech", State::fine, json.value("model", std::string()), {}};
    }
    // What is missing comes with what to do about it, where there is more to do than to install it.
    const auto advice = missing.find(" Run ");
    return {
        "speech", State::missing, missing.substr(0, advice),
        advice == std::string::npos ? "Build or install the desktop application as well." : missing.substr(advice + 1)};
}

std::string_view word(State state) {
    switch (state) {
        case State::fine:
            return "ok";
        case State::missing:
            return "missing";
        case State::failed:
            return "failed";
    }
    return "";
}

}  // namespace

ExitCode runDoctor(const Paths& paths, const CommandRequest& request) {
    const auto environment = processEnvironment();
    const std::vector<Finding> findings{
        lookAtStore(paths),  lookAtDisplay(environment), lookAtChord(environment),   lookAtMicrophone(environment),
        lookAtSpeech(paths), lookAtEmbedding(paths),     lookAtSecrets(environment), lookAtPrograms(paths)};
    CommandResponse response;
    // What only the desktop needs may be missing; without its log nothing works.
    const bool broken = std::ranges::any_of(findings, [](const auto& one) { return one.state == State::failed; });
    response.exit = broken ? ExitCode::environment : ExitCode::done;
    if (request.has("json")) {
        Json checks = Json::array();
        for (const auto& one : findings) {
            checks.push_back(
                Json{{"part", one.part}, {"state", word(one.state)}, {"detail", one.detail}, {"next", one.next}});
        }
        response.out = Json{{"ok", !broken}, {"checks", checks}}.dump(-1, ' ', false, Json::error_handler_t::replace);
        response.out += "\n";
        return print(response);
    }
    const Palette palette(request.has("colour"));
    for (const auto& one : findings) {
        const auto mark = one.state == State::fine ? palette.running("✓") : palette.strong("✗");
        response.out += fmt::format("{} {:<11} {}\n", mark, one.part, oneLine(one.detail));
        if (!one.next.empty()) {
            response.out += fmt::format("  {:<11} {}\n", "", palette.faint(one.next));
        }
    }
    return print(response);
}

}  // namespace tolvik
