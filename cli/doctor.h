#pragma once

#include <string>
#include <vector>

#include "services/paths.h"

namespace tolvik {

/// One part of the machine or of the product that Tolvik uses.
struct Finding {
    enum class State : unsigned char { fine, missing, failed };
    std::string part;
    State state = State::fine;
    std::string detail;
    /// What to do about it; empty where nothing is to be done.
    std::string next;
};

// The looks that need neither the log nor the desktop's libraries.
[[nodiscard]] Finding lookAtDisplay(const Environment& environment);
[[nodiscard]] Finding lookAtChord(const Environment& environment);
[[nodiscard]] Finding lookAtMicrophone(const Environment& environment);
[[nodiscard]] Finding lookAtEmbedding(const Paths& paths);
[[nodiscard]] Finding lookAtSecrets(const Environment& environment);
[[nodiscard]] Finding lookAtPrograms(const Paths& paths);

}  // namespace tolvik
