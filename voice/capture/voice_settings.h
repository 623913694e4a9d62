#pragma once

namespace tolvik::voiceSetting {

/// Flag: media players are paused while the user speaks. Off when absent.
inline constexpr const char* pauseMedia = "tolvik.voice.pauseMedia";
/// Text: the id of the chosen microphone; empty or absent follows the system's default.
inline constexpr const char* microphone = "tolvik.voice.microphone";
/// Integer: the modifier bits of the chord, see PushToTalkHotkey.
inline constexpr const char* hotkey = "tolvik.hotkey.modifiers";

}  // namespace tolvik::voiceSetting
