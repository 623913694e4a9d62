#include "voice/parse/edit_distance.h"

#include <algorithm>
#include <functional>
#include <vector>

#include "base/text.h"

namespace tolvik {

std::u32string characters(std::string_view text) {
    const bool isAscii = std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (isAscii) {
        return {text.begin(), text.end()};
    }
    std::u32string out;
    for (const std::string& cluster : graphemes(text)) {
        const std::u32string points = codePoints(cluster);
        // Clusters of several code points get a number above all code points.
        out +=
            points.size() == 1
                ? points.front()
                : static_cast<char32_t>(0x8000'0000U | static_cast<std::uint32_t>(std::hash<std::u32string>{}(points)));
    }
    return out;
}

std::size_t editDistance(std::u32string_view a, std::u32string_view b) {
    constexpr std::size_t farApart = 6;
    if (a.size() < b.size()) {
        std::swap(a, b);
    }
    if (b.empty() || a.size() - b.size() >= farApart) {
        return a.size() - b.size();
    }
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t substituted = diagonal + (a[i - 1] == b[j - 1] ? 0U : 1U);
            diagonal = row[j];
            row[j] = std::min({substituted, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

std::size_t editDistance(std::string_view a, std::string_view b) {
    return editDistance(characters(a), characters(b));
}

}  // namespace tolvik
