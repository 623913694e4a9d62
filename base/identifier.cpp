#include "base/identifier.h"

#include <deque>
#include <fmt/format.h>
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

/// The two halves of a canonical upper-case UUID; nothing for any other text.
std::optional<std::pair<std::uint64_t, std::uint64_t>> parseUuid(std::string_view text) {
    if (text.size() != 36) {
        return std::nullopt;
    }
    std::uint64_t halves[2] = {0, 0};
    int count = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (i == 8 || i == 13 || i == 18 || i == 23) {
            if (c != '-') {
                return std::nullopt;
            }
            continue;
        }
        std::uint64_t digit = 0;
        if (c >= '0' && c <= '9') {
            digit = static_cast<std::uint64_t>(c - '0');
        } else if (c >= 'A' && c <= 'F') {
            digit = static_cast<std::uint64_t>(c - 'A' + 10);
        } else {
            return std::nullopt;
        }
        halves[count / 16] = halves[count / 16] << 4U | digit;
        ++count;
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
    return fmt::format("{:08X}-{:04X}-{:04X}-{:04X}-{:012X}", high_ >> 32U, high_ >> 16U & 0xFFFFU, high_ & 0xFFFFU,
                       low_ >> 48U, low_ & 0xFFFF'FFFF'FFFFU);
}

}  // namespace tolvik
