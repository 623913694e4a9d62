#include "tests/server/server_fixture.h"

#include <fstream>

#include "adapters/sqlite_server/sqlite_storage.h"

namespace tolvik::server {
namespace {

/// The answers of the whole run, one JSON object a line after one with all routes, for the check against their
/// description.
void record(const Request& request, const Response& response) {
    static const char* const path = std::getenv("TOLVIK_RECORD_ANSWERS");
    if (path == nullptr) {
        return;
    }
    static std::ofstream out = [] {
        std::ofstream file(path);
        file << Json{{"routes", ServerApp::routes()}}.dump() << '\n';
        return file;
    }();
    out << Json{{"method", request.method},
                {"path", ServerApp::route(request.method, request.path).name},
                {"status", response.status},
                {"body", response.body}}
               .dump(-1, ' ', false, Json::error_handler_t::replace)
        << '\n';
}

}  // namespace

std::unique_ptr<Storage> makeStorage(std::string_view kind, const std::filesystem::path& folder) {
    if (kind == "postgres") {
        return PostgresCluster::shared().newStorage();
    }
    auto opened = SqliteStorage::open(folder / "server.sqlite", {.syncs = false});
    return opened ? std::move(*opened) : nullptr;
}

void ServerTest::SetUp() {
    if (GetParam() == "postgres" && !PostgresCluster::isInstalled()) {
        GTEST_SKIP() << "PostgreSQL is not installed: nothing is known of the server on it";
    }
    std::string name = (std::filesystem::temp_directory_path() / "tolvik-server-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder = name;
    storage = makeStorage(GetParam(), folder);
    ASSERT_NE(storage, nullptr);
    app = std::make_unique<ServerApp>(ServerPorts{
        .clock = clock, .random = random, .transcriber = &transcriber, .languageModel = &model, .parser = nullptr});
}

void ServerTest::TearDown() {
    storage.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

Reply ServerTest::send(std::string_view token, std::string_view method, std::string_view target,
                       const std::string& body, std::vector<std::pair<std::string, std::string>> headers) {
    Request request;
    request.method = method;
    const auto question = target.find('?');
    request.path = target.substr(0, question);
    request.query = question == std::string_view::npos ? "" : target.substr(question + 1);
    request.headers = std::move(headers);
    if (!token.empty()) {
        request.headers.emplace_back("authorization", "Bearer " + std::string(token));
    }
    request.body = body;
    request.peer = "192.0.2.1";
    Reply out;
    out.outcome = std::move(app->serve(*storage, {&request, 1}).front());
    if (out.outcome.slow) {
        out.outcome.response = out.outcome.slow(request);
    }
    record(request, out.outcome.response);
    out.status = out.outcome.response.status;
    out.body = Json::parse(out.outcome.response.body, nullptr, false);
    EXPECT_FALSE(out.body.is_discarded()) << out.outcome.response.body;
    return out;
}

std::string ServerTest::signIn(const std::string& email) {
    const Reply sent = send("", "POST", "/auth/otp/send", Json{{"email", email}});
    EXPECT_EQ(sent.status, 200) << sent.body;
    if (sent.outcome.mails.size() != 1) {
        ADD_FAILURE() << "no mail";
        return {};
    }
    const Reply verified =
        send("", "POST", "/auth/otp/verify", Json{{"email", email}, {"code", sent.outcome.mails.front().code}});
    EXPECT_EQ(verified.status, 200) << verified.body;
    return verified.body.value("token", "");
}

Json ServerTest::pull(std::string_view token, const std::string& query, const std::string& offset) {
    const Reply reply = send(token, "GET", "/sync/pull" + query, "", {{"x-tz-offset", offset}});
    EXPECT_EQ(reply.status, 200) << reply.body;
    return reply.body;
}

Json ServerTest::task(const std::string& id, const std::string& title) const {
    return {{"id", id},           {"title", title},     {"status", "open"}, {"isActive", false},
            {"createdAt", now()}, {"updatedAt", now()}, {"sortOrder", 3},   {"colorIndex", 5}};
}

Json ServerTest::entry(const std::string& id, const std::string& task) const {
    return {{"id", id}, {"taskId", task}, {"startedAt", now()}, {"createdAt", now()}};
}

Json ServerTest::switchLog(const std::string& id, const std::string& to) const {
    return {{"id", id}, {"toTaskId", to}, {"switchedAt", now()}, {"source", "manual"}};
}

Json ServerTest::tag(const std::string& id) const {
    return {{"id", id}, {"name", "Atlas"}, {"colorIndex", 1}, {"createdAt", now()}, {"updatedAt", now()}};
}

Json byId(const Json& records, const std::string& id) {
    for (const Json& record : records) {
        if (record["id"] == id) {
            return record;
        }
    }
    return nullptr;
}

bool isDeleted(const Json& pulled, const std::string& id) {
    return !byId(pulled["deleted"], id).is_null();
}

}  // namespace tolvik::server
