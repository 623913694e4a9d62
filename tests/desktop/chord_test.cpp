#include <chrono>
#include <gmock/gmock.h>

#include "adapters/x11/xkb_chord_monitor.h"
#include "tests/desktop/desktop_test.h"

namespace tolvik {
namespace {

using testing::IsEmpty;

class ChordTest : public DesktopTest {
protected:
    void SetUp() override {
        ASSERT_TRUE(monitor.start({.onModifiers = [this](std::uint32_t held) { seen.push_back(held); },
                                   .onOtherKey = [this] { ++otherKeys; }}))
            << monitor.problem();
        EXPECT_EQ(monitor.problem(), "");
    }
    void TearDown() override { run("xdotool keyup Control_L Control_R Alt_L Alt_R Shift_L Shift_R Super_L Super_R a"); }

    bool sees(std::uint32_t held) {
        return becomes([&] { return !seen.empty() && seen.back() == held; });
    }

    XkbChordMonitor monitor{loop};
    std::vector<std::uint32_t> seen;
    int otherKeys = 0;
};

TEST_F(ChordTest, SeesLeftAndRightKeysOfEachModifier) {
    for (const char* side : {"L", "R"}) {
        const auto key = [&](const char* action, const char* name) {
            run(std::string("xdotool ") + action + " " + name + "_" + side);
        };
        const std::pair<const char*, std::uint32_t> keys[] = {{"Shift", modifier::shift},
                                                              {"Control", modifier::control},
                                                              {"Alt", modifier::option},
                                                              {"Super", modifier::command}};
        for (const auto& [name, bit] : keys) {
            key("keydown", name);
            EXPECT_TRUE(sees(bit)) << name << side;
            EXPECT_EQ(monitor.heldNow(), bit) << name << side;
            key("keyup", name);
            EXPECT_TRUE(sees(0)) << name << side;
            EXPECT_EQ(monitor.heldNow(), 0U) << name << side;
        }
    }
}

TEST_F(ChordTest, SeesTheChordWhileAnotherWindowHasTheFocus) {
    const Process editor({"xterm", "-e", "sh", "-c", "cat"});
    ASSERT_EQ(run("timeout 5 xdotool search --sync --onlyvisible --class xterm windowfocus --sync > /dev/null"), 0);
    // In an order in which Alt is pressed while Shift is down, which turns it into Meta.
    run("xdotool keydown Shift_L keydown Control_R keydown Alt_L");
    EXPECT_TRUE(sees(modifier::shift | modifier::control | modifier::option));
    run("xdotool keyup Control_R");
    EXPECT_TRUE(sees(modifier::shift | modifier::option));
    run("xdotool keyup Shift_L keyup Alt_L");
    EXPECT_TRUE(sees(0));
    EXPECT_EQ(otherKeys, 0);
}

TEST_F(ChordTest, LosesNoneOfFiftyPresses) {
    run("xdotool keydown Control_L keydown Alt_L");
    ASSERT_TRUE(sees(modifier::control | modifier::option));
    seen.clear();
    run("for i in $(seq 50); do xdotool keydown Shift_L keyup Shift_L; done");
    EXPECT_TRUE(becomes([&] { return seen.size() == 100; })) << seen.size();
}

TEST_F(ChordTest, LearnsOfOtherKeysOnlyWhileAModifierIsDown) {
    run("xdotool key a key b");
    pass(Millis{200});
    EXPECT_EQ(otherKeys, 0) << "typing is not watched";
    run("xdotool keydown Control_L");
    ASSERT_TRUE(sees(modifier::control));
    pass(Millis{50});
    run("xdotool keydown Alt_L keydown Caps_Lock keyup Caps_Lock key Caps_Lock");
    ASSERT_TRUE(sees(modifier::control | modifier::option));
    pass(Millis{200});
    EXPECT_EQ(otherKeys, 0) << "modifiers beyond the four are no other keys";
    run("xdotool keydown a keyup a");
    EXPECT_TRUE(becomes([&] { return otherKeys > 0; }));
}

TEST_F(ChordTest, FollowsTheKeyboardMap) {
    run("xmodmap -e 'clear mod4' -e 'keycode 38 = Super_L' -e 'add mod4 = Super_L'");
    // The map's news and the key's come in order, but the key must be pressed after the map is in force.
    pass(Millis{300});
    run("xdotool keydown 38");
    EXPECT_TRUE(sees(modifier::command));
    EXPECT_EQ(monitor.heldNow(), modifier::command);
    run("xdotool keyup 38");
    EXPECT_TRUE(sees(0));
    run("setxkbmap us");
    pass(Millis{300});
    run("xdotool keydown Super_R");
    EXPECT_TRUE(sees(modifier::command));
}

TEST_F(ChordTest, StoppedItReportsNothing) {
    run("xdotool keydown Control_L");
    ASSERT_TRUE(sees(modifier::control));
    monitor.stop();
    seen.clear();
    EXPECT_EQ(monitor.heldNow(), 0U);
    run("xdotool keyup Control_L");
    pass(Millis{200});
    EXPECT_THAT(seen, IsEmpty());
    EXPECT_TRUE(monitor.start({.onModifiers = [this](std::uint32_t held) { seen.push_back(held); }, .onOtherKey = {}}));
    run("xdotool keydown Shift_R");
    EXPECT_TRUE(sees(modifier::shift));
}

class ChordWithoutDisplay : public DesktopTest {};

TEST_F(ChordWithoutDisplay, SaysPlainlyWhatIsMissing) {
    const auto problemWith = [&](const char* display) {
        XkbChordMonitor monitor(loop, display);
        EXPECT_FALSE(monitor.start({}));
        EXPECT_EQ(monitor.heldNow(), 0U);
        return monitor.problem();
    };
    EXPECT_EQ(problemWith(":99999"), "The X server :99999 cannot be reached, so the chord cannot be seen.");

    const char* const given = std::getenv("DISPLAY");
    ASSERT_NE(given, nullptr);
    const std::string display = given;
    ::unsetenv("DISPLAY");
    EXPECT_EQ(problemWith(""), "There is no X11 display, so the chord cannot be seen.");
    ::setenv("DISPLAY", display.c_str(), 1);
    ::setenv("WAYLAND_DISPLAY", "wayland-0", 1);
    EXPECT_THAT(problemWith(""), testing::StartsWith("This is a Wayland session"));
    ::unsetenv("WAYLAND_DISPLAY");
}

TEST_F(ChordWithoutDisplay, SurvivesTheServersDeath) {
    const std::string socket = "/tmp/.X11-unix/X9173";
    Process server({"Xvfb", ":9173", "-nolisten", "tcp"});
    XkbChordMonitor monitor(loop, ":9173");
    std::vector<std::uint32_t> seen;
    const auto start = [&] {
        return monitor.start({.onModifiers = [&](std::uint32_t held) { seen.push_back(held); }, .onOtherKey = {}});
    };
    for (int i = 0; i < 100 && !start(); ++i) {
        pass(Millis{50});
    }
    ASSERT_EQ(monitor.problem(), "");
    run("DISPLAY=:9173 xdotool keydown Control_L");
    ASSERT_TRUE(becomes([&] { return !seen.empty(); }));
    server.end(SIGKILL);
    ::unlink(socket.c_str());
    ::unlink("/tmp/.X9173-lock");
    EXPECT_TRUE(becomes([&] { return seen.back() == 0; })) << "everything counts as released";
    EXPECT_EQ(monitor.problem(), "The X server went away, so the chord cannot be seen.");
    EXPECT_EQ(monitor.heldNow(), 0U);
    monitor.stop();
}

}  // namespace
}  // namespace tolvik
