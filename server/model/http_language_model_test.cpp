#include "server/model/http_language_model.h"

#include <gtest/gtest.h>
#include <mutex>
#include <nlohmann/json.hpp>
#include <thread>

#include "server/net/network_server.h"
#include "server/net/request_reader.h"

namespace tolvik::server {
namespace {

/// Stands for the model's server: keeps the last request and answers what it was told.
class ModelApi final : public RequestHandler {
public:
    [[nodiscard]] std::size_t bodyLimit(std::string_view, std::string_view) const override { return 100'000; }
    void handle(Request request, std::function<void(Answer)> reply) override {
        last = std::move(request);
        if (answer.status != 0) {
            return reply({answer, {}});
        }
        std::thread([reply = std::move(reply)] {
            std::this_thread::sleep_for(std::chrono::seconds(2));
            reply({});
        }).detach();
    }
    Request last;
    Response answer;
};

TEST(HttpLanguageModel, asksAsTheApiWantsItAndTrustsNothingThatComesBack) {
    ModelApi api;
    StreamHub hub({});
    NetworkCounters counters;
    auto listening = NetworkServer::listen({}, api, hub, counters, nullptr);
    ASSERT_TRUE(listening) << listening.error();
    (*listening)->start();
    HttpLanguageModel model({"http://127.0.0.1:" + std::to_string((*listening)->port()) + "/v1", "small", "sesame",
                             std::chrono::milliseconds(500)});

    api.answer = {200, {}, R"({"choices":[{"message":{"role":"assistant","content":"{\"action\":\"stop\"}"}}]})"};
    const auto good = model.complete("Be brief.", "I am \"done\"\nhere");
    ASSERT_TRUE(good) << good.error().text;
    EXPECT_EQ(*good, R"({"action":"stop"})");
    EXPECT_EQ(api.last.path, "/v1/chat/completions");
    EXPECT_EQ(fieldOf(api.last, "authorization"), "Bearer sesame");
    const auto body = nlohmann::json::parse(api.last.body);
    EXPECT_EQ(body["model"], "small");
    EXPECT_EQ(body["messages"][0]["content"], "Be brief.");
    EXPECT_EQ(body["messages"][1]["content"], "I am \"done\"\nhere");

    for (const std::string bad :
         {"", "[]", "{}", R"({"choices":[]})", R"({"choices":[5]})", R"({"choices":[{"message":5}]})",
          R"({"choices":[{"message":{"content":null}}]})", "<html>"}) {
        api.answer = {200, {}, bad};
        EXPECT_FALSE(model.complete("a", "b")) << bad;
    }
    api.answer = {200, {}, std::string(200'000, '[')};
    EXPECT_FALSE(model.complete("a", "b"));
    api.answer = {302, {{"location", "http://127.0.0.1:1/elsewhere"}}, ""};
    EXPECT_FALSE(model.complete("a", "b"));
    api.answer = {0, {}, ""};
    EXPECT_FALSE(model.complete("a", "b"));
    (*listening)->stop(std::chrono::seconds(5));
}

}  // namespace
}  // namespace tolvik::server
