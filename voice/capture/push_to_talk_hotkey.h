#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "core/value_store.h"
#include "voice/capture/chord_monitor.h"

namespace tolvik {

/// The push-to-talk chord: modifier keys that are held together. Value type.
struct PushToTalkHotkey {
    /// Control + Option + Shift.
    static constexpr std::uint32_t defaultModifiers = modifier::control | modifier::option | modifier::shift;

    /// Bits of `modifier`, never others and never none.
    std::uint32_t modifiers = defaultModifiers;

    bool operator==(const PushToTalkHotkey&) const = default;

    /// The stored chord; the default when it is missing, no number or without any bit of the four.
    [[nodiscard]] static PushToTalkHotkey current(const ValueStore& values);
    [[nodiscard]] Result<void, StoreError> save(ValueStore& values) const;

    /// Every key of the chord is down. Further modifiers do not matter.
    [[nodiscard]] bool isHeldBy(std::uint32_t held) const { return modifiers != 0 && (held & modifiers) == modifiers; }

    /// "⌃" "⌥" "⇧" "⌘", those of the chord in this order.
    [[nodiscard]] static std::vector<std::string> glyphs(std::uint32_t modifiers);
    /// "Control + Option + Shift".
    [[nodiscard]] static std::string names(std::uint32_t modifiers);
    /// Why a captured set cannot be the chord; none when it can.
    [[nodiscard]] static std::optional<std::string> problemWith(std::uint32_t modifiers);
};

/// Collects the keys of one gesture while the user records a new chord: what goes down before everything is up again
/// belongs together, and the next key after that starts anew. No input or output of its own.
class ChordRecorder {
public:
    /// The modifiers that are down now, at each change.
    void modifiersChanged(std::uint32_t held);

    /// The keys of the present or last gesture; 0 before the first.
    [[nodiscard]] std::uint32_t captured() const { return captured_; }
    /// No key was pressed yet.
    [[nodiscard]] bool isWaiting() const { return captured_ == 0; }
    /// Why `captured()` cannot be the chord; none while waiting or when it can.
    [[nodiscard]] std::optional<std::string> message() const;
    /// Everything was released and what was captured is valid: it can be saved.
    [[nodiscard]] std::optional<PushToTalkHotkey> result() const;

    static constexpr const char* waitingText = "Waiting for keys…";
    static constexpr const char* hint = "Hold at least two of Control, Option, and Shift. Release when done.";

private:
    std::uint32_t captured_ = 0;
    bool gestureEnded_ = true;
};

}  // namespace tolvik
