#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

#include "base/result.h"

namespace tolvik {

/// The largest file that is read whole; a log of a million entries takes less.
inline constexpr std::size_t kLargestFile = std::size_t{512} << 20U;

/// The whole of a file or pipe of at most `kLargestFile` bytes; "-" is the standard input. The error says what is
/// wrong.
[[nodiscard]] Result<std::string, std::string> readFile(const std::string& path);
/// Replaces a file whole or not at all, where it is a plain file; "-" is the standard output.
[[nodiscard]] Result<void, std::string> writeFile(const std::string& path, std::string_view bytes);
/// False when the output did not take everything.
[[nodiscard]] bool writeOut(int descriptor, std::string_view bytes);

}  // namespace tolvik
