#include <atomic>
#include <filesystem>
#include <fstream>
#include <future>
#include <gtest/gtest.h>
#include <set>
#include <stdexcept>
#include <thread>

#include "adapters/system/system_random.h"
#include "adapters/system/system_time_zone.h"
#include "adapters/system/thread_workers.h"

namespace tolvik {
namespace {

namespace fs = std::filesystem;

TEST(ZoneVariable, namesTheZoneInEachOfItsForms) {
    EXPECT_EQ(zoneNameOfVariable("Europe/Helsinki"), "Europe/Helsinki");
    EXPECT_EQ(zoneNameOfVariable(":Asia/Kolkata"), "Asia/Kolkata");
    EXPECT_EQ(zoneNameOfVariable("/usr/share/zoneinfo/posix/Asia/Tokyo"), "Asia/Tokyo");
    EXPECT_EQ(zoneNameOfVariable("UTC-3"), "Etc/GMT-3");
    EXPECT_EQ(zoneNameOfVariable("<-05>5"), "Etc/GMT+5");
    EXPECT_EQ(zoneNameOfVariable("UTC0"), "UTC");
    EXPECT_EQ(zoneNameOfVariable("/somewhere/else"), "");
    // East of Greenwich by three hours.
    EXPECT_EQ(NamedTimeZone(zoneNameOfVariable("UTC-3")).offsetMinutes({0}), 180);
    // A name of the database that ends in an offset stays that name.
    EXPECT_EQ(zoneNameOfVariable("EST5EDT"), "EST5EDT");
}

class LocaltimeTest : public testing::Test {
protected:
    void SetUp() override {
        root_ = fs::path(testing::TempDir()) / ("zone-" + std::to_string(SystemRandom().next()));
        fs::create_directories(root_ / "etc");
    }
    void TearDown() override { fs::remove_all(root_); }
    void link(const std::string& zone) const {
        fs::remove(root_ / "etc/localtime");
        fs::create_symlink("/usr/share/zoneinfo/" + zone, root_ / "etc/localtime");
    }

    fs::path root_;
};

TEST_F(LocaltimeTest, followsTheLinkAndNoticesItsChange) {
    link("Europe/Helsinki");
    const SystemTimeZone zone(root_.string(), Millis{0});
    const Instant noon{1'794'304'800'000};  // 2026-11-10T10:00:00Z
    EXPECT_EQ(zone.name(), "Europe/Helsinki");
    EXPECT_EQ(zone.timeOf(noon).hour, 12);
    link("America/New_York");
    EXPECT_EQ(zone.name(), "America/New_York");
    EXPECT_EQ(zone.timeOf(noon).hour, 5);
}

TEST_F(LocaltimeTest, readsTheNameFileWhereTheLinkSaysNothing) {
    std::ofstream(root_ / "etc/localtime") << "a copy, not a link";
    EXPECT_EQ(SystemTimeZone(root_.string()).name(), "UTC");
    std::ofstream(root_ / "etc/timezone") << "Asia/Kolkata\n";
    EXPECT_EQ(SystemTimeZone(root_.string()).offsetMinutes({0}), 330);
}

TEST(SystemRandom, repeatsNoIdentifier) {
    SystemRandom random;
    std::set<Identifier> seen;
    for (int i = 0; i < 5000; ++i) {
        EXPECT_TRUE(seen.insert(random.identifier()).second);
    }
}

TEST(ThreadWorkers, runsEveryJobAndOutlivesAFailingOne) {
    std::atomic<int> done = 0;
    std::promise<void> all;
    ThreadWorkers workers(3);
    workers.run([] { throw std::runtime_error("expected by the test"); });
    for (int i = 0; i < 300; ++i) {
        workers.run([&] {
            if (++done == 300) {
                all.set_value();
            }
        });
    }
    EXPECT_EQ(all.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
}

TEST(ThreadWorkers, runsJobsBesideABlockedOne) {
    std::promise<void> release;
    std::promise<void> ran;
    ThreadWorkers workers(2);
    workers.run([wait = release.get_future().share()] { wait.wait(); });
    workers.run([&] { ran.set_value(); });
    EXPECT_EQ(ran.get_future().wait_for(std::chrono::seconds(20)), std::future_status::ready);
    release.set_value();
}

TEST(ThreadWorkers, waitsForWhatHasBegunAndDropsTheRest) {
    std::atomic<bool> finished = false;
    std::atomic<bool> second = false;
    {
        std::promise<void> begun;
        auto started = begun.get_future();
        ThreadWorkers workers(1);
        workers.run([&] {
            begun.set_value();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            finished = true;
        });
        started.wait();
        workers.run([&] { second = true; });
    }
    EXPECT_TRUE(finished);
    EXPECT_FALSE(second);
}

}  // namespace
}  // namespace tolvik
