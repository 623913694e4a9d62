#pragma once

#include <chrono>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tolvik {

using Millis = std::chrono::milliseconds;

/// A point in time as whole milliseconds since 1970-01-01T00:00:00Z.
struct Instant {
    std::int64_t ms = 0;

    friend constexpr auto operator<=>(Instant, Instant) = default;
    friend constexpr Instant operator+(Instant t, Millis d) { return {t.ms + d.count()}; }
    friend constexpr Instant operator-(Instant t, Millis d) { return {t.ms - d.count()}; }
    friend constexpr Millis operator-(Instant a, Instant b) { return Millis{a.ms - b.ms}; }
};

/// "yyyy-MM-ddTHH:mm:ss.SSSZ", the one form that is written. Years 0000 to 9999; others are clamped.
[[nodiscard]] std::string formatInstant(Instant instant);

/// Reads an internet date-time with fractional seconds and a zone ("Z" or "+02:00"). Without a fraction, or with
/// anything before or after it, there is none. Digits past the millisecond are cut.
[[nodiscard]] std::optional<Instant> parseInstant(std::string_view text);

/// A timestamp as it is stored and sent: the exact text is kept, also when it is not an instant. Eight bytes; texts
/// that are not in the written form are interned for the life of the process. Ordered as text, which is the order in
/// time for all that were written here. Value type, safe to use from any thread.
class Timestamp {
public:
    /// The empty text, which is no instant.
    Timestamp();
    explicit Timestamp(Instant instant);
    explicit Timestamp(std::string_view text);

    [[nodiscard]] std::optional<Instant> instant() const;
    [[nodiscard]] std::string text() const;

    friend bool operator==(Timestamp a, Timestamp b) { return a.bits_ == b.bits_; }
    friend std::strong_ordering operator<=>(Timestamp a, Timestamp b);

private:
    [[nodiscard]] bool isInterned() const { return bits_ < 0; }

    // Milliseconds since 0000-01-01T00:00:00.000Z, or the complement of an index into the interned texts.
    std::int64_t bits_;
};

/// A calendar day. Its text is "yyyy-MM-dd".
struct DayKey {
    /// Days since 1970-01-01.
    std::int32_t days = 0;

    [[nodiscard]] std::string text() const;
    /// None unless the text is exactly yyyy-MM-dd and names a day that exists.
    [[nodiscard]] static std::optional<DayKey> parse(std::string_view text);
    [[nodiscard]] constexpr DayKey plus(int n) const { return {days + n}; }
    /// 0 = Sunday … 6 = Saturday.
    [[nodiscard]] constexpr int weekday() const { return ((days % 7) + 11) % 7; }

    friend constexpr auto operator<=>(DayKey, DayKey) = default;
};

}  // namespace tolvik
