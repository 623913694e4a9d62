#include "adapters/qt/qt_main_loop.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <gtest/gtest.h>
#include <memory>
#include <optional>

#include "tests/fakes/main_loop_contract.h"

namespace tolvik {
namespace {

class QtMainLoopTest : public testing::Test {
protected:
    static bool runUntil(const std::function<bool()>& condition) {
        QElapsedTimer watch;
        watch.start();
        while (!condition() && watch.elapsed() < 10'000) {
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 5);
        }
        return condition();
    }

    int argc_ = 1;
    char name_[5] = "test";
    char* argv_[2] = {name_, nullptr};
    QCoreApplication application_{argc_, argv_};
};

TEST_F(QtMainLoopTest, keepsTheContractOfAMainLoop) {
    QtMainLoop loop;
    MainLoopContract(loop, runUntil).checkAll();
}

TEST_F(QtMainLoopTest, dropsWhatIsQueuedWhenItGoes) {
    bool ran = false;
    Timer survivor;
    {
        QtMainLoop loop;
        loop.post([&] { ran = true; });
        survivor = loop.after(Millis{0}, [&] { ran = true; });
    }
    QCoreApplication::processEvents();
    EXPECT_FALSE(ran);
    EXPECT_FALSE(survivor.isPending());
}

TEST_F(QtMainLoopTest, answersEventsBetweenCallsThatPostThemselves) {
    QtMainLoop loop;
    int rounds = 0;
    bool timed = false;
    std::function<void()> again = [&] {
        ++rounds;
        if (!timed) {
            loop.post(again);
        }
    };
    const Timer timer = loop.after(Millis{20}, [&] { timed = true; });
    loop.post(again);
    EXPECT_TRUE(runUntil([&] { return timed; }));
    EXPECT_GT(rounds, 1);
}

}  // namespace
}  // namespace tolvik
