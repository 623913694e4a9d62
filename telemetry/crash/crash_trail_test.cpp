#include "telemetry/crash/crash_trail.h"

#include <csignal>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tolvik {
namespace {

class CrashTrailTest : public testing::Test {
protected:
    ~CrashTrailTest() override { std::filesystem::remove_all(folder); }

    /// Runs `work` in a process of its own and gives the signal that ended it, 0 for none.
    template <class Work>
    int inChild(const Work& work) {
        const auto child = ::fork();
        if (child == 0) {
            const rlimit none{0, 0};
            ::setrlimit(RLIMIT_CORE, &none);
            std::optional<CrashReport> before;
            auto trail = CrashTrail::begin(file, "0.1.0", {1000}, before);
            trail->watchSignals();
            work(*trail);
            trail.reset();
            ::_exit(0);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    }
    std::optional<CrashReport> next() {
        std::optional<CrashReport> before;
        const auto trail = CrashTrail::begin(file, "0.2.0", {2000}, before);
        return before;
    }

    std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("tolvik-trail-" + std::to_string(::getpid()));
    std::filesystem::path file = folder / "trail";
};

TEST_F(CrashTrailTest, tellsTheSignalAndTheLastSteps) {
    EXPECT_EQ(next(), std::nullopt) << "the first start of all";
    EXPECT_EQ(inChild([](CrashTrail& trail) {
                  for (int i = 0; i < 20; ++i) {
                      trail.leave("step " + std::to_string(i));
                  }
                  trail.leave(std::string(60, 'x'));
                  std::abort();
              }),
              SIGABRT)
        << "the crash goes on as it would have";
    const auto report = next();
    ASSERT_TRUE(report);
    EXPECT_EQ(report->signal, "SIGABRT");
    EXPECT_EQ(report->version, "0.1.0");
    EXPECT_EQ(report->startedAt, Instant{1000});
    EXPECT_GT(report->crashedAt->ms, 1'700'000'000'000);
    ASSERT_EQ(report->crumbs.size(), CrashTrail::kCrumbs);
    EXPECT_EQ(report->crumbs.front(), "step 5");
    EXPECT_EQ(report->crumbs.back(), std::string(CrashTrail::kLongestCrumb, 'x'));
    EXPECT_EQ(next(), std::nullopt) << "told once";
}

TEST_F(CrashTrailTest, tellsAKilledProcessFromOneThatEnded) {
    EXPECT_EQ(inChild([](CrashTrail& trail) { trail.leave("bye"); }), 0);
    EXPECT_EQ(next(), std::nullopt);
    EXPECT_EQ(inChild([](CrashTrail&) { ::raise(SIGKILL); }), SIGKILL);
    const auto report = next();
    ASSERT_TRUE(report);
    EXPECT_EQ(report->crashedAt, std::nullopt);
    EXPECT_EQ(crashJson(*report), R"({"version":"0.1.0","startedAt":"1970-01-01T00:00:01.000Z","crumbs":[]})");
    EXPECT_EQ(crashNotice(*report),
              "Tolvik 0.1.0 was ended from outside or with the machine. Nothing of the log was lost: each change is on "
              "the disk before it is shown.");
}

TEST_F(CrashTrailTest, passesOverAnotherFileAndNoFile) {
    std::filesystem::create_directories(folder);
    std::ofstream(file) << std::string(5000, '\xEE');
    EXPECT_EQ(next(), std::nullopt);
    std::filesystem::remove(file);
    std::filesystem::create_directory(file);
    std::optional<CrashReport> before;
    const auto trail = CrashTrail::begin(file, "0.1.0", {1000}, before);
    trail->leave("nothing");
    trail->watchSignals();
    EXPECT_EQ(before, std::nullopt);
}

}  // namespace
}  // namespace tolvik
