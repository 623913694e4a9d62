#include "commands/likeness.h"

#include <algorithm>

#include "base/text.h"
#include "voice/parse/edit_distance.h"

namespace tolvik {

double spellingLikeness(std::string_view a, std::string_view b) {
    const auto first = lowerCased(a);
    const auto second = lowerCased(b);
    const auto longest = std::max(graphemeCount(first), graphemeCount(second));
    if (longest == 0) {
        return 1;
    }
    return 1.0 - static_cast<double>(editDistance(first, second)) / static_cast<double>(longest);
}

std::optional<std::string> likest(std::string_view word, const std::vector<std::string>& candidates) {
    constexpr double clearlyMeant = 0.6;
    const std::string* best = nullptr;
    double bestLikeness = 0;
    for (const auto& candidate : candidates) {
        const double likeness = spellingLikeness(word, candidate);
        if (likeness > bestLikeness) {
            best = &candidate;
            bestLikeness = likeness;
        }
    }
    return best != nullptr && bestLikeness >= clearlyMeant ? std::optional(*best) : std::nullopt;
}

}  // namespace tolvik
