#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tolvik::server {

/// The longest message between the server and its transcribing process.
inline constexpr std::size_t longestFrame = std::size_t{64} * 1024 * 1024;

using FrameDeadline = std::chrono::steady_clock::time_point;

/// Writes a length (four bytes, lowest first) and the bytes; false when the other end is gone or the time is over.
[[nodiscard]] bool writeFrame(int descriptor, std::string_view bytes, FrameDeadline deadline);

/// Reads what `writeFrame` wrote; none at the end, after the deadline, or when it would be too long.
[[nodiscard]] std::optional<std::string> readFrame(int descriptor, FrameDeadline deadline);

}  // namespace tolvik::server
