#include "ai/answer/answer_words.h"

#include <algorithm>
#include <fmt/format.h>

namespace tolvik {

std::string lengthWords(std::int64_t ms) {
    const std::int64_t seconds = std::max<std::int64_t>(ms, 0) / 1000;
    if (seconds < 60) {
        return fmt::format("{} s", seconds);
    }
    const std::int64_t minutes = seconds / 60;
    return minutes < 60 ? fmt::format("{} min", minutes) : fmt::format("{} h {:02} min", minutes / 60, minutes % 60);
}

std::string countWords(std::int64_t count, std::string_view one, std::string_view many) {
    return fmt::format("{} {}", count, count == 1 ? one : many);
}

std::string clockTime(const TimeZone& zone, Instant instant) {
    const auto time = zone.timeOf(instant);
    return fmt::format("{:02}:{:02}", time.hour, time.minute);
}

std::string quoted(std::string_view name) {
    return fmt::format("“{}”", name);
}

std::string listed(const std::vector<std::string>& parts) {
    std::string out;
    for (std::size_t i = 0; i < parts.size(); ++i) {
        out += (i == 0 ? "" : i + 1 == parts.size() ? " and " : ", ") + parts[i];
    }
    return out;
}

std::string capitalised(std::string text) {
    if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') {
        text[0] = static_cast<char>(text[0] - 'a' + 'A');
    }
    return text;
}

}  // namespace tolvik
