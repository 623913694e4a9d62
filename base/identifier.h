#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace tolvik {

/// A record's identifier as it is stored and sent: the exact text is kept, also when it is not a UUID. Sixteen bytes;
/// texts other than a canonical upper-case UUID are interned for the life of the process. Value type, any thread.
class Identifier {
public:
    /// The empty text; `isEmpty()` holds.
    Identifier() = default;
    explicit Identifier(std::string_view text);
    /// A random UUID (version 4) out of 128 random bits.
    [[nodiscard]] static Identifier fromRandom(std::uint64_t high, std::uint64_t low);

    [[nodiscard]] bool isEmpty() const { return high_ == 0 && low_ == kInterned; }
    [[nodiscard]] std::string text() const;

    /// By value, not by text: for use as a key.
    friend auto operator<=>(const Identifier&, const Identifier&) = default;

private:
    friend struct std::hash<Identifier>;
    // UUIDs of the usual variant have the bits 10 on top of the low half; 11 marks an interned text, whose index is
    // the high half. Index 0 is the empty text.
    static constexpr std::uint64_t kInterned = 0xC000'0000'0000'0000;

    std::uint64_t high_ = 0;
    std::uint64_t low_ = kInterned;
};

}  // namespace tolvik

template <>
struct std::hash<tolvik::Identifier> {
    std::size_t operator()(const tolvik::Identifier& id) const noexcept {
        return static_cast<std::size_t>(id.high_ * 0x9E37'79B9'7F4A'7C15U ^ id.low_);
    }
};
