#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "ai/answer/tokens.h"
#include "base/result.h"
#include "reports/report_range.h"

namespace tolvik {

/// What periods are counted from.
struct PeriodFrame {
    DayKey today;
    /// 0 = Sunday … 6 = Saturday.
    int firstWeekday = 1;
};

/// Words of a question that name days: where they stand, and which days these are, none of them after today. A text
/// stands where the days cannot be told for sure, for the user: it says what to write instead.
struct PeriodWords {
    std::size_t begin = 0;
    std::size_t count = 0;
    Result<DaySpan, std::string> days;
};

/// The longest period that begins at a word, with the preposition before it and a possessive behind it; none when no
/// period begins there. A year that is not said is the one that puts the period last in the past.
[[nodiscard]] std::optional<PeriodWords> periodAt(std::span<const Token> tokens, std::size_t begin,
                                                  const PeriodFrame& frame);

}  // namespace tolvik
