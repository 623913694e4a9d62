#pragma once

#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>
#include <vector>

#include "base/main_loop.h"

namespace tolvik {

/// What every MainLoop does, whichever event loop it stands on. `runUntil(condition)` runs the loop until the condition
/// holds and returns whether it ever did; the condition is looked at between calls.
class MainLoopContract {
public:
    using RunUntil = std::function<bool(const std::function<bool()>&)>;

    MainLoopContract(MainLoop& loop, RunUntil runUntil) : loop_(loop), runUntil_(std::move(runUntil)) {}

    void checkAll() {
        keepsTheOrderOfEachThread();
        delaysAndCancels();
        letsACallReplaceItsOwnTimer();
        goesOnAfterAnException();
    }

    void keepsTheOrderOfEachThread() {
        constexpr int each = 500;
        std::vector<int> seen[3];
        const auto caller = std::this_thread::get_id();
        bool elsewhere = false;
        const auto postAll = [&](int who) {
            for (int i = 0; i < each; ++i) {
                loop_.post([&, who, i] {
                    seen[who].push_back(i);
                    elsewhere = elsewhere || std::this_thread::get_id() != caller;
                });
            }
        };
        std::thread first([&] { postAll(0); });
        std::thread second([&] { postAll(1); });
        postAll(2);
        EXPECT_TRUE(runUntil_([&] { return seen[0].size() + seen[1].size() + seen[2].size() == 3U * each; }));
        first.join();
        second.join();
        EXPECT_FALSE(elsewhere);
        for (const auto& numbers : seen) {
            ASSERT_EQ(numbers.size(), static_cast<std::size_t>(each));
            for (int i = 0; i < each; ++i) {
                EXPECT_EQ(numbers[static_cast<std::size_t>(i)], i);
            }
        }
    }

    void delaysAndCancels() {
        std::vector<int> seen;
        Timer late = loop_.after(Millis{40}, [&] { seen.push_back(3); });
        const Timer early = loop_.after(Millis{5}, [&] { seen.push_back(2); });
        Timer dropped = loop_.after(Millis{10}, [&] { seen.push_back(99); });
        {
            const Timer scoped = loop_.after(Millis{10}, [&] { seen.push_back(98); });
        }
        loop_.post([&] {
            seen.push_back(1);
            dropped.cancel();
        });
        EXPECT_TRUE(late.isPending());
        EXPECT_TRUE(runUntil_([&] { return seen.size() >= 3; }));
        EXPECT_EQ(seen, (std::vector{1, 2, 3}));
        EXPECT_FALSE(late.isPending());
        EXPECT_FALSE(dropped.isPending());
    }

    void letsACallReplaceItsOwnTimer() {
        int beats = 0;
        Timer timer;
        std::function<void()> beat = [&] {
            if (++beats < 3) {
                timer = loop_.after(Millis{1}, beat);
            } else {
                timer.cancel();
            }
        };
        timer = loop_.after(Millis{1}, beat);
        EXPECT_TRUE(runUntil_([&] { return beats == 3; }));
        EXPECT_FALSE(timer.isPending());
    }

    void goesOnAfterAnException() {
        bool posted = false;
        bool delayed = false;
        loop_.post([] { throw std::runtime_error("expected by the test"); });
        loop_.post([&] { posted = true; });
        const Timer bad = loop_.after(Millis{1}, [] { throw 7; });
        const Timer good = loop_.after(Millis{2}, [&] { delayed = true; });
        EXPECT_TRUE(runUntil_([&] { return posted && delayed; }));
    }

private:
    MainLoop& loop_;
    RunUntil runUntil_;
};

}  // namespace tolvik
