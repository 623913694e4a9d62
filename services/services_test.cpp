#include <atomic>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "adapters/socket/command_socket_server.h"
#include "adapters/system/system_random.h"
#include "adapters/system/thread_workers.h"
#include "base/zone.h"
#include "dictionary/dictionary_manager.h"
#include "services/lazy_embedder.h"
#include "services/log_access.h"
#include "services/log_services.h"
#include "sync/sync_outbox.h"
#include "tests/fakes/virtual_main_loop.h"

namespace tolvik {
namespace {

namespace fs = std::filesystem;

class ServicesTest : public testing::Test {
protected:
    void SetUp() override {
        root_ = fs::path(testing::TempDir()) / ("services-" + std::to_string(SystemRandom().next()));
        fs::create_directories(root_);
        paths_.data = root_ / "share" / "Tolvik";
        paths_.models = root_ / "models";
        paths_.programs = root_;
    }
    void TearDown() override { fs::remove_all(root_); }

    fs::path root_;
    Paths paths_;
};

TEST_F(ServicesTest, findsItsFoldersByTheVariables) {
    std::map<std::string, std::string> variables{{"HOME", "/home/ann"}};
    const Environment environment = [&](const char* name) -> std::optional<std::string> {
        const auto found = variables.find(name);
        return found == variables.end() ? std::nullopt : std::optional(found->second);
    };
    const fs::path program = root_ / "build/release/bin/tolvik";
    EXPECT_EQ(locatePaths(environment, program).data, "/home/ann/.local/share/Tolvik");
    EXPECT_EQ(locatePaths(environment, program).config, "/home/ann/.config/Tolvik");
    EXPECT_EQ(locatePaths(environment, program).models, "/usr/share/tolvik/models");
    fs::create_directories(root_ / "build/models");
    EXPECT_EQ(locatePaths(environment, program).models, root_ / "build/models");
    variables = {{"HOME", "/home/ann"},
                 {"XDG_DATA_HOME", "/data"},
                 {"XDG_CONFIG_HOME", "relative"},
                 {"TOLVIK_MODELS", "/models"}};
    EXPECT_EQ(locatePaths(environment, program).database(), "/data/Tolvik/tolvik.sqlite");
    EXPECT_EQ(locatePaths(environment, program).config, "/home/ann/.config/Tolvik");
    EXPECT_EQ(locatePaths(environment, program).embeddingModel(), "/models/embedding");
}

TEST_F(ServicesTest, takesTheLockOfAnEmptyHome) {
    const auto access = askOrLock(paths_, "question");
    ASSERT_TRUE(access) << access.error().text;
    EXPECT_TRUE(std::get<std::unique_ptr<StoreLock>>(*access)->isHeld());
    struct stat status{};
    ASSERT_EQ(::stat(paths_.data.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST_F(ServicesTest, waitsForAHolderToServeOrToLetGo) {
    auto held = std::get<std::unique_ptr<StoreLock>>(askOrLock(paths_, "").value());
    const auto refused = askOrLock(paths_, "question", Millis{30});
    ASSERT_FALSE(refused);
    EXPECT_EQ(refused.error().kind, AccessError::Kind::held);
    EXPECT_NE(refused.error().text.find(std::to_string(::getpid())), std::string::npos);

    std::thread letsGo([&] {
        std::this_thread::sleep_for(Millis{40});
        held->release();
    });
    auto second = askOrLock(paths_, "question", Millis{20'000});
    letsGo.join();
    ASSERT_TRUE(second);
    ASSERT_TRUE(std::holds_alternative<std::unique_ptr<StoreLock>>(*second));

    FakeClock clock;
    VirtualMainLoop loop(clock);
    std::atomic<bool> answered = false;
    std::thread asks([&] {
        const auto access = askOrLock(paths_, "question", Millis{20'000});
        EXPECT_TRUE(access) << access.error().text;
        EXPECT_EQ(access ? std::get<std::string>(*access) : "", "answer to question");
        answered = true;
    });
    std::this_thread::sleep_for(Millis{40});
    const auto server = CommandSocketServer::start(
        paths_.socket(), loop, [](const std::string& request, const auto& reply) { reply("answer to " + request); });
    ASSERT_TRUE(server);
    while (!answered) {
        loop.runPosted();
        std::this_thread::yield();
    }
    asks.join();
}

TEST_F(ServicesTest, saysWhyAHomeCannotBeUsed) {
    paths_.data = "/dev/null/Tolvik";
    const auto access = askOrLock(paths_, "");
    ASSERT_FALSE(access);
    EXPECT_EQ(access.error().kind, AccessError::Kind::folder);
    EXPECT_NE(access.error().text.find("/dev/null/Tolvik"), std::string::npos);
}

TEST_F(ServicesTest, joinsTheLogItsVocabularyAndItsQueue) {
    FakeClock clock;
    const NamedTimeZone zone("Europe/Helsinki");
    SystemRandom random;
    VirtualMainLoop loop(clock);
    ThreadWorkers workers;
    const auto open = [&] {
        return LogServices::open(
            paths_, {.clock = clock, .timeZone = zone, .random = random, .loop = loop, .workers = workers});
    };
    Identifier project;
    {
        const auto lock = askOrLock(paths_, "");
        auto services = open();
        ASSERT_TRUE(services);
        project = *(*services)->store().createProject("Brivio");
        (*services)->dictionary().setActiveProject(project);
        (void)(*services)->dictionary().addTerm("checkout", "", project);
        std::string feedback;
        (*services)->executor().execute("start the landing page", ChangeSource::voice,
                                        [&](const CommandOutcome& outcome) { feedback = outcome.feedback; });
        EXPECT_EQ((*services)->store().activeTask()->tagId, project) << "a new task joins the active project";
        EXPECT_FALSE(feedback.empty());
        EXPECT_FALSE((*services)->hasEmbedding());
    }
    auto services = open();
    ASSERT_TRUE(services);
    EXPECT_EQ((*services)->dictionary().terms(), std::vector<std::string>{"checkout"});
    EXPECT_EQ((*services)->store().activeTask()->tagId, project);
    // One project, one active project, one term, one task, one entry, one switch, and the file for the server.
    EXPECT_GE((*services)->outbox().pendingCount(), 5U);
    EXPECT_TRUE(fs::exists((*services)->outbox().filePath()));
}

TEST(LazyEmbedder, hasNoVectorsWithoutModuleOrWithABrokenOne) {
    const fs::path folder = fs::path(testing::TempDir()) / ("embedder-" + std::to_string(SystemRandom().next()));
    fs::create_directories(folder);
    for (const char* name : {"model.safetensors", "vocab.txt"}) {
        std::ofstream(folder / name) << "x";
    }
    LazyEmbedder absent(folder / "no.so", folder);
    EXPECT_FALSE(absent.isPresent());
    EXPECT_EQ(absent.embed("hello"), std::nullopt);
    std::ofstream(folder / "broken.so") << "not a library";
    LazyEmbedder broken(folder / "broken.so", folder);
    EXPECT_TRUE(broken.isPresent());
    EXPECT_EQ(broken.embed("hello"), std::nullopt);
    fs::remove_all(folder);
}

}  // namespace
}  // namespace tolvik
