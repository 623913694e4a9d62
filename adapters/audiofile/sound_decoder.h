#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "voice/capture/audio_file_writer.h"

namespace tolvik {

/// The longest sound that is decoded, in samples of all channels: ten minutes of 48 kHz stereo.
inline constexpr std::size_t maxDecodedSamples = std::size_t{48'000} * 2 * 600;

/// Decodes a whole .m4a or .wav file from memory. The bytes may come from anywhere: nothing but them is read, and time
/// and memory stay bounded. The error says what is wrong. Any thread.
[[nodiscard]] Result<AudioFileCodec::Sound, std::string> decodeSound(std::span<const std::uint8_t> bytes);

}  // namespace tolvik
