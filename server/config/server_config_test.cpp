#include "server/config/server_config.h"

#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <unistd.h>

namespace tolvik::server {
namespace {

Result<ServerConfig, std::string> read(const std::vector<std::string>& arguments,
                                       const std::map<std::string, std::string>& environment = {}) {
    return readServerConfig(arguments, [&](const std::string& name) -> std::optional<std::string> {
        const auto found = environment.find(name);
        return found == environment.end() ? std::nullopt : std::optional(found->second);
    });
}

TEST(ServerConfig, flagsWinOverTheEnvironmentWhichWinsOverTheFile) {
    const std::string file = testing::TempDir() + "tolvik-server-" + std::to_string(::getpid()) + ".conf";
    std::ofstream(file) << "# ours\nport = 1000\nmax-streams = 5\r\nmail-from = codes@example.org\nplain = yes\n";
    const auto config = read({"--config", file, "--port=3000", "--dev"},
                             {{"TOLVIK_SERVER_PORT", "2000"}, {"TOLVIK_SERVER_MAX_STREAMS", "6"}});
    ASSERT_TRUE(config) << config.error();
    EXPECT_EQ(config->port, 3000);
    EXPECT_EQ(config->maxStreams, 6U);
    EXPECT_EQ(config->mailFrom, "codes@example.org");
    EXPECT_TRUE(config->plain && config->dev);
    std::ofstream(file) << "\nport = many\n";
    EXPECT_NE(read({"--config", file}).error().find(":2: port must be"), std::string::npos);
    std::ofstream(file) << "prot = 1\n";
    EXPECT_NE(read({}, {{"TOLVIK_SERVER_CONFIG", file}}).error().find(":1: “prot” is no setting"), std::string::npos);
    std::filesystem::remove(file);
    EXPECT_FALSE(read({"--config", file}));
}

TEST(ServerConfig, refusesWhatCannotBeMeant) {
    for (const std::vector<std::string>& arguments :
         std::vector<std::vector<std::string>>{{"--port", "70000"},
                                               {"--port", "-1"},
                                               {"--port"},
                                               {"--prot", "1"},
                                               {"serve"},
                                               {"--network-threads", "0"},
                                               {"--mail-require-tls", "maybe"},
                                               {"--log-level", "loud"},
                                               {"--max-streams", "5x"}}) {
        const auto config = read(arguments);
        ASSERT_FALSE(config) << arguments.front();
        EXPECT_FALSE(config.error().empty());
    }
}

}  // namespace
}  // namespace tolvik::server
