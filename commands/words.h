#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"

namespace tolvik {

/// "12 s", "42 min", "3 h 05 min". Negative lengths count as none.
[[nodiscard]] std::string durationWords(std::int64_t milliseconds);
/// "09:05".
[[nodiscard]] std::string clockWords(LocalTime time);
/// "Tue 10 Nov 2026".
[[nodiscard]] std::string dayWords(DayKey day);

/// Columns that a terminal needs for the text; wide characters need two.
[[nodiscard]] std::size_t displayWidth(std::string_view text);
/// The text with blanks up to the width, and cut with "…" beyond it.
[[nodiscard]] std::string padded(std::string_view text, std::size_t width);
/// The text as one line that cannot steer a terminal: control characters become blanks.
[[nodiscard]] std::string oneLine(std::string_view text);

/// Colours of a terminal, or nothing where the output is none.
class Palette {
public:
    explicit Palette(bool colours) : colours_(colours) {}

    [[nodiscard]] std::string running(std::string_view text) const { return paint(text, "32"); }
    [[nodiscard]] std::string strong(std::string_view text) const { return paint(text, "1"); }
    [[nodiscard]] std::string faint(std::string_view text) const { return paint(text, "2"); }

private:
    [[nodiscard]] std::string paint(std::string_view text, std::string_view code) const;

    bool colours_;
};

}  // namespace tolvik
