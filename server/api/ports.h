#pragma once

#include <string>
#include <string_view>

#include "base/result.h"

namespace tolvik::server {

/// Why a service behind a handler gave nothing. The text is for the user and holds nothing of the request.
struct ServiceProblem {
    enum class Kind : unsigned char {
        unavailable,  ///< not installed, not configured or not reachable; answered with 503
        busy,         ///< too much waits already; answered with 503 and Retry-After
        badInput,     ///< what was sent cannot be used; answered with 400
    };
    Kind kind = Kind::unavailable;
    std::string text;
};

/// Turns recordings into text. Any thread; calls block until the text is there and may come at the same time.
class Transcriber {
public:
    Transcriber() = default;
    Transcriber(const Transcriber&) = delete;
    Transcriber& operator=(const Transcriber&) = delete;
    virtual ~Transcriber() = default;

    /// `audio` is the bytes of a sound file in any common form, `prompt` the words that bias what is heard (at most
    /// 4 KB of UTF-8; may be empty).
    [[nodiscard]] virtual Result<std::string, ServiceProblem> transcribe(std::string_view audio,
                                                                         std::string_view prompt) = 0;
};

/// A language model that follows instructions. Any thread; calls block and may come at the same time.
class LanguageModel {
public:
    LanguageModel() = default;
    LanguageModel(const LanguageModel&) = delete;
    LanguageModel& operator=(const LanguageModel&) = delete;
    virtual ~LanguageModel() = default;

    /// The model's answer as it came, bounded to 64 KB; nothing about it is trusted. `instructions` is the system's
    /// message, `input` the user's.
    [[nodiscard]] virtual Result<std::string, ServiceProblem> complete(std::string_view instructions,
                                                                       std::string_view input) = 0;
};

}  // namespace tolvik::server
