#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "base/result.h"
#include "base/time.h"

namespace tolvik {

enum class CallError : std::uint8_t {
    nobody,      ///< no one serves there, or has not begun: the request may be carried out otherwise
    busy,        ///< someone serves, but takes no more callers at the moment: ask again
    stranger,    ///< the server belongs to another user
    unanswered,  ///< the server ended or fell silent after it had the request: it may have been carried out
    tooLarge,    ///< the answer is larger than what the caller takes
};

struct CallLimits {
    std::size_t answerBytes = std::size_t{256} << 20U;
    /// From the request to the last byte of the answer.
    Millis patience{30'000};
};

/// Sends one request to the server behind the socket file and waits for its answer. Blocks.
[[nodiscard]] Result<std::string, CallError> callCommandSocket(const std::filesystem::path& path,
                                                               std::string_view request, const CallLimits& limits = {});

}  // namespace tolvik
