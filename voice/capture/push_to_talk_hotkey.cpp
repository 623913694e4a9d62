#include "voice/capture/push_to_talk_hotkey.h"

#include <array>
#include <bit>

#include "base/text.h"
#include "voice/capture/voice_settings.h"

namespace tolvik {

namespace {

struct Key {
    std::uint32_t bit;
    const char* glyph;
    const char* name;
};
constexpr std::array keys{Key{modifier::control, "⌃", "Control"}, Key{modifier::option, "⌥", "Option"},
                          Key{modifier::shift, "⇧", "Shift"}, Key{modifier::command, "⌘", "Command"}};

}  // namespace

PushToTalkHotkey PushToTalkHotkey::current(const ValueStore& values) {
    const std::int64_t stored = values.integer(voiceSetting::hotkey).value_or(0);
    const auto kept = static_cast<std::uint32_t>(stored & modifier::mask);
    return {kept == 0 ? defaultModifiers : kept};
}

Result<void, StoreError> PushToTalkHotkey::save(ValueStore& values) const {
    return values.setInteger(voiceSetting::hotkey, modifiers);
}

std::vector<std::string> PushToTalkHotkey::glyphs(std::uint32_t modifiers) {
    std::vector<std::string> out;
    for (const Key& key : keys) {
        if ((modifiers & key.bit) != 0) {
            out.emplace_back(key.glyph);
        }
    }
    return out;
}

std::string PushToTalkHotkey::names(std::uint32_t modifiers) {
    std::vector<std::string> out;
    for (const Key& key : keys) {
        if ((modifiers & key.bit) != 0) {
            out.emplace_back(key.name);
        }
    }
    return joined(out, " + ");
}

std::optional<std::string> PushToTalkHotkey::problemWith(std::uint32_t modifiers) {
    if ((modifiers & modifier::command) != 0) {
        return "Command conflicts with app shortcuts";
    }
    if (std::popcount(modifiers & modifier::mask) < 2) {
        return "Add one more key";
    }
    return std::nullopt;
}

void ChordRecorder::modifiersChanged(std::uint32_t held) {
    const std::uint32_t down = held & modifier::mask;
    if (down == 0) {
        gestureEnded_ = true;
        return;
    }
    captured_ = gestureEnded_ ? down : captured_ | down;
    gestureEnded_ = false;
}

std::optional<std::string> ChordRecorder::message() const {
    return isWaiting() ? std::nullopt : PushToTalkHotkey::problemWith(captured_);
}

std::optional<PushToTalkHotkey> ChordRecorder::result() const {
    if (!gestureEnded_ || isWaiting() || message()) {
        return std::nullopt;
    }
    return PushToTalkHotkey{captured_};
}

}  // namespace tolvik
