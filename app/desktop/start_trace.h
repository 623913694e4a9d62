#pragma once

#include <string>
#include <utility>
#include <vector>

#include "base/time.h"

namespace tolvik {

/// Time since the start of this process, as the kernel noted it (to a hundredth of a second).
[[nodiscard]] Millis sinceProcessStart();

/// Notes when each step of the start was reached and prints it when asked to.
class StartTrace {
public:
    explicit StartTrace(bool wanted) : wanted_(wanted) {}

    void reached(std::string step);
    /// Writes one line to the standard error: "start: main 12 ms, …, first frame 310 ms, resident 92 MB".
    void print() const;

private:
    bool wanted_;
    std::vector<std::pair<std::string, Millis>> steps_;
};

}  // namespace tolvik
