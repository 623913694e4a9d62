#include "base/base64.h"

#include <array>
#include <cstdint>

namespace tolvik {
namespace {

constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr std::array<std::int8_t, 256> makeValues() {
    std::array<std::int8_t, 256> values{};
    values.fill(-1);
    for (std::size_t i = 0; i < kDigits.size(); ++i) {
        values[static_cast<unsigned char>(kDigits[i])] = static_cast<std::int8_t>(i);
    }
    return values;
}
constexpr auto kValues = makeValues();

}  // namespace

std::string toBase64(std::string_view bytes) {
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            group = group << 8U | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0U);
        }
        for (std::size_t k = 0; k < 4; ++k) {
            out += i + k > bytes.size() ? '=' : kDigits[group >> (18U - 6U * k) & 63U];
        }
    }
    return out;
}

std::optional<std::string> fromBase64(std::string_view text) {
    if (text.size() % 4 != 0) {
        return std::nullopt;
    }
    std::string out;
    out.reserve(text.size() / 4 * 3);
    for (std::size_t i = 0; i < text.size(); i += 4) {
        const bool isLast = i + 4 == text.size();
        std::size_t padding = 0;
        if (isLast && text[i + 3] == '=') {
            padding = text[i + 2] == '=' ? 2 : 1;
        }
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 4; ++k) {
            const auto value = k >= 4 - padding ? 0 : kValues[static_cast<unsigned char>(text[i + k])];
            if (value < 0) {
                return std::nullopt;
            }
            group = group << 6U | static_cast<std::uint32_t>(value);
        }
        for (std::size_t k = 0; k < 3 - padding; ++k) {
            out += static_cast<char>(group >> (16U - 8U * k) & 0xFFU);
        }
    }
    return out;
}

}  // namespace tolvik
