#pragma once

#include <concepts>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "server/api/server_app.h"
#include "server/storage/transaction.h"
#include "tests/fakes/fake_clock.h"
#include "tests/server/postgres_cluster.h"

namespace tolvik::server {

using Json = nlohmann::json;

/// A new empty database for each test; which kind is the test's parameter.
[[nodiscard]] std::unique_ptr<Storage> makeStorage(std::string_view kind, const std::filesystem::path& folder);

class FakeTranscriber final : public Transcriber {
public:
    Result<std::string, ServiceProblem> transcribe(std::string_view audio, std::string_view prompt) override {
        heard.emplace_back(audio, prompt);
        return answer;
    }
    std::vector<std::pair<std::string, std::string>> heard;
    Result<std::string, ServiceProblem> answer = std::string("write the report");
};

class FakeLanguageModel final : public LanguageModel {
public:
    Result<std::string, ServiceProblem> complete(std::string_view, std::string_view input) override {
        inputs.emplace_back(input);
        return answer;
    }
    std::vector<std::string> inputs;
    Result<std::string, ServiceProblem> answer = failure(ServiceProblem{});
};

/// What a device sees of an answer.
struct Reply {
    int status = 0;
    Json body;
    Outcome outcome;
};

/// The server's core on a real database, asked as devices ask.
class ServerTest : public testing::TestWithParam<std::string_view> {
protected:
    void SetUp() override;
    void TearDown() override;

    /// `token` may be empty. Headers in lower case. Fails the test when the answer is not described.
    Reply send(std::string_view token, std::string_view method, std::string_view target, const std::string& body = "",
               std::vector<std::pair<std::string, std::string>> headers = {});
    template <std::same_as<Json> Body>
    Reply send(std::string_view token, std::string_view method, std::string_view target, const Body& body,
               std::vector<std::pair<std::string, std::string>> headers = {}) {
        return send(token, method, target, body.dump(), std::move(headers));
    }
    /// The token of a new session.
    std::string signIn(const std::string& email);
    [[nodiscard]] Json pull(std::string_view token, const std::string& query = "", const std::string& offset = "0");

    [[nodiscard]] std::string newId() { return random.identifier().text(); }
    [[nodiscard]] std::string now() const { return formatInstant(clock.now()); }
    [[nodiscard]] Json task(const std::string& id, const std::string& title = "Write") const;
    [[nodiscard]] Json entry(const std::string& id, const std::string& task) const;
    [[nodiscard]] Json switchLog(const std::string& id, const std::string& to) const;
    [[nodiscard]] Json tag(const std::string& id) const;

    FakeClock clock;
    FakeRandom random{7};
    FakeTranscriber transcriber;
    FakeLanguageModel model;
    std::filesystem::path folder;
    std::unique_ptr<Storage> storage;
    std::unique_ptr<ServerApp> app;
};

/// The record of an id in a pulled array; null when it is not there.
[[nodiscard]] Json byId(const Json& records, const std::string& id);
[[nodiscard]] bool isDeleted(const Json& pulled, const std::string& id);

}  // namespace tolvik::server
