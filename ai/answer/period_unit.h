#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "ai/answer/period.h"

namespace tolvik {

/// Goes over the words of a question.
class PeriodCursor {
public:
    PeriodCursor(std::span<const Token> tokens, std::size_t at) : tokens_(tokens), at_(at) {}

    [[nodiscard]] std::size_t at() const { return at_; }
    void moveTo(std::size_t at) { at_ = at; }
    /// The word `ahead` words on; empty at the end and for quotations.
    [[nodiscard]] std::string_view peek(std::size_t ahead = 0) const;
    bool take(std::string_view word);
    /// All of these in a row, or nothing.
    bool takeAll(std::initializer_list<std::string_view> row);
    /// One of these; the one that stood there, or empty.
    std::string_view takeAny(std::initializer_list<std::string_view> choice);
    /// A whole number in digits ("3", "03") or words up to twelve.
    [[nodiscard]] std::optional<int> takeNumber();
    /// 1 to 31, as "3", "3rd" or with `ordinal` only as "3rd".
    [[nodiscard]] std::optional<int> takeDayOfMonth(bool ordinal);
    /// 2000 to 2099.
    [[nodiscard]] std::optional<int> takeYear();

private:
    std::span<const Token> tokens_;
    std::size_t at_;
};

/// A stretch of days that one name stands for.
struct PeriodUnit {
    enum class Kind : std::uint8_t { day, weekday, month, other };
    Kind kind = Kind::other;
    /// May reach past today; for a text instead see `PeriodWords`.
    Result<DaySpan, std::string> days;
    /// Its year was not said.
    bool yearOpen = false;
};

/// Takes one name of days: "today", "last week", "Tuesday", "3 March", "October 2025", "Q3", "2026-03-03" and the
/// like. The cursor stays where it is when there is none.
[[nodiscard]] std::optional<PeriodUnit> takeUnit(PeriodCursor& cursor, const PeriodFrame& frame);

}  // namespace tolvik
