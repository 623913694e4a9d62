#include "voice/capture/push_to_talk_hotkey.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/fakes/memory_value_store.h"
#include "voice/capture/ticket_names.h"
#include "voice/capture/voice_settings.h"

namespace tolvik {
namespace {

using testing::ElementsAre;
namespace m = modifier;

TEST(PushToTalkHotkey, ReadsTheStoredChordAndFallsBackToTheDefault) {
    MemoryValueStore values;
    const auto stored = [&](std::int64_t bits) {
        EXPECT_TRUE(values.setInteger(voiceSetting::hotkey, bits));
        return PushToTalkHotkey::current(values).modifiers;
    };
    EXPECT_EQ(PushToTalkHotkey::current(values).modifiers, 0xE0000U);
    EXPECT_EQ(stored(0x100000), m::command) << "never recorded, but read";
    EXPECT_EQ(stored(0x10000), 0xE0000U) << "Caps Lock is none of the four";
    EXPECT_EQ(stored(0x10000 | m::control), m::control);
    EXPECT_EQ(stored(-1), m::mask);
    ASSERT_TRUE(values.setText(voiceSetting::hotkey, "393216"));
    EXPECT_EQ(PushToTalkHotkey::current(values).modifiers, 0xE0000U) << "a text is no number";

    ASSERT_TRUE((PushToTalkHotkey{m::control | m::shift}.save(values)));
    EXPECT_EQ(PushToTalkHotkey::current(values).modifiers, m::control | m::shift);
}

TEST(PushToTalkHotkey, ShowsItsKeysInFixedOrder) {
    EXPECT_EQ(PushToTalkHotkey::names(PushToTalkHotkey::defaultModifiers), "Control + Option + Shift");
    EXPECT_THAT(PushToTalkHotkey::glyphs(m::mask), ElementsAre("⌃", "⌥", "⇧", "⌘"));
    EXPECT_EQ(PushToTalkHotkey::names(m::command | m::option), "Option + Command");
}

TEST(PushToTalkHotkey, IsHeldWithFurtherModifiersButNotWithFewer) {
    const PushToTalkHotkey hotkey;
    EXPECT_TRUE(hotkey.isHeldBy(m::mask));
    EXPECT_FALSE(hotkey.isHeldBy(m::control | m::option | m::command));
    EXPECT_FALSE(hotkey.isHeldBy(0));
}

TEST(PushToTalkHotkey, SaysWhatIsWrongWithACapturedSet) {
    EXPECT_EQ(PushToTalkHotkey::problemWith(m::control | m::command), "Command conflicts with app shortcuts");
    EXPECT_EQ(PushToTalkHotkey::problemWith(m::command), "Command conflicts with app shortcuts");
    EXPECT_EQ(PushToTalkHotkey::problemWith(m::option), "Add one more key");
    EXPECT_EQ(PushToTalkHotkey::problemWith(m::option | m::shift), std::nullopt);
}

TEST(ChordRecorder, CollectsOneGestureAndStartsAnewAfterTheRelease) {
    ChordRecorder recorder;
    recorder.modifiersChanged(0);
    EXPECT_TRUE(recorder.isWaiting());
    EXPECT_EQ(recorder.message(), std::nullopt);

    recorder.modifiersChanged(m::control);
    EXPECT_EQ(recorder.message(), "Add one more key");
    recorder.modifiersChanged(m::control | m::shift | 0x10000);
    recorder.modifiersChanged(m::shift);
    EXPECT_EQ(recorder.captured(), m::control | m::shift) << "released keys of the gesture stay captured";
    EXPECT_EQ(recorder.result(), std::nullopt) << "not while a key is down";
    recorder.modifiersChanged(0);
    EXPECT_EQ(recorder.result(), PushToTalkHotkey{m::control | m::shift});

    recorder.modifiersChanged(m::option);
    EXPECT_EQ(recorder.captured(), m::option);
    recorder.modifiersChanged(0);
    EXPECT_EQ(recorder.message(), "Add one more key");
    EXPECT_EQ(recorder.result(), std::nullopt);
}

TEST(TicketNames, AreJoined) {
    EXPECT_EQ(withTicketNames("switch to ABC - 123"), "switch to ABC-123");
    EXPECT_EQ(withTicketNames("abc  -\t7 and Def - 8"), "abc-7 and Def-8");
    EXPECT_EQ(withTicketNames("room 12 - 13, mid-2026, a - b"), "room 12 - 13, mid-2026, a - b");
}

}  // namespace
}  // namespace tolvik
