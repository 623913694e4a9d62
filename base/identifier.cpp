#include "base/identifier.h"

#include <array>
#include <deque>
#include <mutex>
#include <optional>
#include <shared_mutex>
#include <unordered_map>
#include <utility>

namespace tolvik {
namespace {

class OddIdentifiers {
public:
    OddIdentifiers() { (void)indexOf(""); }

    std::uint64_t indexOf(std::string_view text) {
        const std::unique_lock lock(mutex_);
        const auto found = indexes_.find(text);
        if (found != indexes_.end()) {
            return found->second;
        }
        const std::uint64_t index = texts_.size();
        texts_.emplace_back(text);
        indexes_.emplace(texts_.back(), index);
        return index;
    }

    const std::string& text(std::uint64_t index) {
        const std::shared_lock lock(mutex_);
        return texts_[index];
    }

private:
    std::shared_mutex mutex_;
    std::deque<std::string> texts_;
    std::unordered_map<std::string_view, std::uint64_t> indexes_;
};

OddIdentifiers& oddIdentifiers() {
    static OddIdentifiers identifiers;
    return identifiers;
}

constexpr std::uint8_t kNoDigit = 0xFF;

constexpr std::array<std::uint8_t, 256> makeDigits() {
    std::array<std::uint8_t, 256> digits{};
    digits.fill(kNoDigit);
    for (std::uint8_t i = 0; i < 16; ++i) {
        digits[static_cast<unsigned char>("0123456789ABCDEF"[i])] = i;
    }
    return digits;
}
constexpr auto kDigits = makeDigits();

/// Where the sixteen bytes begin in the text.
constexpr std::array<std::uint8_t, 16> kBytes{0, 2, 4, 6, 9, 11, 14, 16, 19, 21, 24, 26, 28, 30, 32, 34};

/// The two halves of a canonical upper-case UUID; nothing for any other text. Loading a log reads half a million.
std::optional<std::pair<std::uint64_t, std::uint64_t>> parseUuid(std::string_view text) {
    if (text.size() != 36 || text[8] != '-' || text[13] != '-' || text[18] != '-' || text[23] != '-') {
        return std::nullopt;
    }
    std::uint64_t halves[2] = {0, 0};
    unsigned bad = 0;
    for (std::size_t i = 0; i < 16; ++i) {
        const std::uint8_t high = kDigits[static_cast<unsigned char>(text[kBytes[i]])];
        const std::uint8_t low = kDigits[static_cast<unsigned char>(text[kBytes[i] + 1U])];
        bad |= static_cast<unsigned>(high) | low;
        halves[i / 8] = halves[i / 8] << 8U | (static_cast<std::uint64_t>(high & 15U) << 4U) | (low & 15U);
    }
    if (bad > 15) {
        return std::nullopt;
    }
    return std::pair{halves[0], halves[1]};
}

}  // namespace

Identifier::Identifier(std::string_view text) {
    const auto uuid = parseUuid(text);
    if (uuid && (uuid->second & kInterned) != kInterned) {
        high_ = uuid->first;
        low_ = uuid->second;
        return;
    }
    high_ = oddIdentifiers().indexOf(text);
}

Identifier Identifier::fromRandom(std::uint64_t high, std::uint64_t low) {
    Identifier id;
    id.high_ = (high & 0xFFFF'FFFF'FFFF'0FFFU) | 0x4000U;
    id.low_ = (low & 0x3FFF'FFFF'FFFF'FFFFU) | 0x8000'0000'0000'0000U;
    return id;
}

std::string Identifier::text() const {
    if ((low_ & kInterned) == kInterned) {
        return oddIdentifiers().text(high_);
    }
    std::string out(36, '-');
    for (std::size_t i = 0; i < 16; ++i) {
        const auto byte = static_cast<unsigned>((i < 8 ? high_ : low_) >> (56U - i % 8 * 8U)) & 0xFFU;
        out[kBytes[i]] = "0123456789ABCDEF"[byte >> 4U];
        out[kBytes[i] + 1U] = "0123456789ABCDEF"[byte & 15U];
    }
    return out;
}

}  // namespace tolvik
