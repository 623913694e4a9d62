#include "tests/simulation/sim_server.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace tolvik::sim {
namespace {

using nlohmann::json;

/// The text members of each kind that only operations change.
const std::map<std::string, std::vector<const char*>> kTexts{{"tasks", {"title"}},
                                                             {"time-entries", {"startedAt"}},
                                                             {"switch-logs", {"reason", "source"}},
                                                             {"tags", {"name"}},
                                                             {"dictionaries", {"term", "hint"}}};

}  // namespace

SimServer::SimServer(const Clock& real, Millis skew, std::uint64_t seed) : clock_(real, skew), random_(seed) {
    auto opened = server::SqliteStorage::open(":memory:", {.syncs = false});
    if (!opened) {
        throw Violation{"no database: " + opened.error().text};
    }
    storage_ = std::move(*opened);
    restart();
}

void SimServer::restart() {
    app_ = std::make_unique<server::ServerApp>(server::ServerPorts{.clock = clock_, .random = random_});
}

server::Response SimServer::handle(const server::Request& request) {
    auto outcomes = app_->serve(*storage_, {&request, 1});
    server::Outcome& outcome = outcomes.front();
    account(request, outcome.response.status);
    for (const auto& announcement : outcome.announcements) {
        onEvent(announcement.userId, announcement.deviceId, false);
    }
    for (const auto& ended : outcome.ended) {
        onEvent(ended.userId, ended.deviceId, true);
    }
    return std::move(outcome.response);
}

void SimServer::account(const server::Request& request, int status) {
    const std::string id(request.header("x-op-id"));
    if (id.empty() || status >= 400) {
        return;
    }
    const auto caller = callerOf(request);
    if (!caller || !carriedOut_[caller->userId].insert(id).second) {
        return;
    }
    auto& records = records_[caller->userId];
    const auto slash = request.path.find('/', 1);
    const std::string kind = request.path.substr(1, slash == std::string::npos ? slash : slash - 1);
    const json body = json::parse(request.body, nullptr, false);
    const std::string record = slash == std::string::npos ? body.value("id", "") : request.path.substr(slash + 1);
    Known& known = records[record];
    if (request.method == "DELETE") {
        known.isLive = false;
        if (kind == "tasks") {
            for (auto& [other, one] : records) {
                if (one.task == record) {
                    one.isLive = false;
                }
            }
        }
        return;
    }
    // A creation of what is there changes nothing, but for terms.
    if (request.method == "POST" && known.isLive && kind != "dictionaries") {
        return;
    }
    if (request.method == "POST") {
        known = {true, kind, body.value("taskId", body.value("toTaskId", "")), {}};
    }
    for (const char* name : kTexts.at(kind)) {
        if (const auto found = body.find(name); found != body.end()) {
            known.texts[name] = found->is_string() ? found->get<std::string>() : "";
        }
    }
}

std::optional<server::Caller> SimServer::callerOf(const server::Request& request) {
    std::optional<server::Caller> out;
    (void)storage_->read([&](server::Transaction& transaction) {
        if (auto caller = app_->caller(request, transaction)) {
            out = *caller;
        }
    });
    return out;
}

std::optional<SimServer::SignIn> SimServer::signIn(const std::string& email) {
    server::Request request;
    request.method = "POST";
    request.path = "/auth/otp/send";
    request.body = json{{"email", email}}.dump();
    request.peer = "192.0.2.1";
    auto sent = app_->serve(*storage_, {&request, 1});
    if (sent.front().mails.empty()) {
        return std::nullopt;
    }
    request.path = "/auth/otp/verify";
    request.body = json{{"email", email}, {"code", sent.front().mails.front().code}}.dump();
    auto verified = app_->serve(*storage_, {&request, 1});
    const json answer = json::parse(verified.front().response.body, nullptr, false);
    if (verified.front().response.status != 200) {
        return std::nullopt;
    }
    return SignIn{answer.value("token", ""), answer["user"].value("id", "")};
}

void SimServer::revoke(const std::string& token) {
    server::Request request;
    request.method = "POST";
    request.path = "/auth/logout";
    request.headers = {{"authorization", "Bearer " + token}};
    (void)handle(request);
}

PullResponse SimServer::everything(const std::string& token) {
    server::Request request;
    request.method = "GET";
    request.path = "/sync/pull";
    request.headers = {{"authorization", "Bearer " + token}};
    const auto outcomes = app_->serve(*storage_, {&request, 1});
    auto decoded = decodePullResponse(outcomes.front().response.body);
    if (outcomes.front().response.status != 200 || !decoded) {
        throw Violation{
            fmt::format("the server's pull: {} {}", outcomes.front().response.status, decoded ? "" : decoded.error())};
    }
    return std::move(*decoded);
}

void SimServer::checkAccount(const std::string& userId, const std::string& token) {
    const PullResponse all = everything(token);
    std::map<std::string, json> live;
    const auto add = [&](const auto& records) {
        for (const auto& record : records) {
            std::string text;
            appendRecord(text, record);
            live[record.id.text()] = json::parse(text);
        }
    };
    add(all.log.tasks);
    add(all.log.timeEntries);
    add(all.log.switchLogs);
    add(all.log.tags);
    for (const ServerDictEntry& entry : all.dictionaries) {
        live[entry.id.text()] = json{{"term", entry.term}, {"hint", entry.hint}};
    }
    std::size_t expected = 0;
    for (const auto& [id, known] : records_[userId]) {
        expected += known.isLive ? 1 : 0;
        const auto found = live.find(id);
        if (known.isLive != (found != live.end())) {
            throw Violation{
                fmt::format("{} {} is {} on the server", known.kind, id, known.isLive ? "missing" : "alive")};
        }
        for (const auto& [name, text] : known.isLive ? known.texts : std::map<std::string, std::string>{}) {
            if (found->second.value(name, "") != text) {
                throw Violation{fmt::format("{} {}: {} is \"{}\" on the server and was set to \"{}\" last", known.kind,
                                            id, name, found->second.value(name, ""), text)};
            }
        }
    }
    if (expected != live.size()) {
        throw Violation{fmt::format("{} records on the server, {} were made", live.size(), expected)};
    }
}

}  // namespace tolvik::sim
