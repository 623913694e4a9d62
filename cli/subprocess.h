#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"

namespace tolvik {

/// Runs a program with this input and gives what it wrote; its error output is this process's. The error is for the
/// user: the program is missing, or it ended by a signal. Blocks.
[[nodiscard]] Result<std::string, std::string> runSubprocess(const std::filesystem::path& program,
                                                             const std::vector<std::string>& arguments,
                                                             std::string_view input);

}  // namespace tolvik
