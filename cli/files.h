#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "base/result.h"

namespace tolvik {

/// The whole of a file or pipe; "-" is the standard input. The error says what is wrong.
[[nodiscard]] Result<std::string, std::string> readFile(const std::string& path);
/// Replaces a file whole or not at all, where it is a plain file; "-" is the standard output.
[[nodiscard]] Result<void, std::string> writeFile(const std::string& path, std::string_view bytes);
/// False when the output did not take everything.
[[nodiscard]] bool writeOut(int descriptor, std::string_view bytes);

}  // namespace tolvik
