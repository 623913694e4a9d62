#include "adapters/asio/asio_main_loop.h"

#include <gtest/gtest.h>
#include <optional>
#include <thread>

#include "tests/fakes/main_loop_contract.h"

namespace tolvik {
namespace {

TEST(AsioMainLoop, keepsTheContractOfAMainLoop) {
    AsioMainLoop loop;
    MainLoopContract(loop, [&](const std::function<bool()>& condition) {
        return loop.runUntil(condition, Millis{10'000});
    }).checkAll();
}

TEST(AsioMainLoop, dropsWhatIsQueuedWhenItGoes) {
    bool ran = false;
    Timer survivor;
    {
        AsioMainLoop loop;
        loop.post([&] { ran = true; });
        survivor = loop.after(Millis{0}, [&] { ran = true; });
    }
    EXPECT_FALSE(ran);
    EXPECT_FALSE(survivor.isPending());
}

TEST(AsioMainLoop, runsUntilToldToQuitFromAnotherThread) {
    AsioMainLoop loop;
    int calls = 0;
    std::thread other([&] {
        loop.post([&] { ++calls; });
        loop.quit();
        loop.post([&] { ++calls; });
    });
    loop.run();
    EXPECT_EQ(calls, 1);
    other.join();
    loop.runPosted();
    EXPECT_EQ(calls, 2);
    EXPECT_FALSE(loop.runUntil([] { return false; }, Millis{5}));
}

}  // namespace
}  // namespace tolvik
