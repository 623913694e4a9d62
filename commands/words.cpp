#include "commands/words.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <unicode/uchar.h>

#include "base/text.h"

namespace tolvik {

std::string durationWords(std::int64_t milliseconds) {
    const std::int64_t seconds = std::max<std::int64_t>(milliseconds, 0) / 1000;
    if (seconds < 60) {
        return fmt::format("{} s", seconds);
    }
    const std::int64_t minutes = seconds / 60;
    return minutes < 60 ? fmt::format("{} min", minutes) : fmt::format("{} h {:02} min", minutes / 60, minutes % 60);
}

std::string clockWords(LocalTime time) {
    return fmt::format("{:02}:{:02}", time.hour, time.minute);
}

std::string dayWords(DayKey day) {
    constexpr std::array<std::string_view, 7> weekdays{"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr std::array<std::string_view, 12> months{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const std::string key = day.text();
    const auto month = static_cast<std::size_t>(std::stoi(key.substr(5, 2)));
    return fmt::format("{} {} {} {}", weekdays[static_cast<std::size_t>(day.weekday())], std::stoi(key.substr(8, 2)),
                       months[month - 1], key.substr(0, 4));
}

std::size_t displayWidth(std::string_view text) {
    std::size_t width = 0;
    for (const auto& cluster : graphemes(text)) {
        const auto first = codePoints(cluster);
        const auto kind =
            u_getIntPropertyValue(static_cast<UChar32>(first.empty() ? 0 : first.front()), UCHAR_EAST_ASIAN_WIDTH);
        width += kind == U_EA_WIDE || kind == U_EA_FULLWIDTH ? 2U : 1U;
    }
    return width;
}

std::string padded(std::string_view text, std::size_t width) {
    std::string line(text);
    const auto has = displayWidth(line);
    if (has <= width) {
        return line + std::string(width - has, ' ');
    }
    std::string cut;
    std::size_t used = 0;
    for (const auto& cluster : graphemes(line)) {
        const auto more = displayWidth(cluster);
        if (used + more + 1 > width) {
            break;
        }
        cut += cluster;
        used += more;
    }
    return cut + "…" + std::string(width - used - 1, ' ');
}

std::string oneLine(std::string_view text) {
    std::string line = toValidUtf8(text);
    for (auto& byte : line) {
        if (static_cast<unsigned char>(byte) < 0x20U || byte == 0x7F) {
            byte = ' ';
        }
    }
    // The second block of control characters, U+0080 to U+009F, steers terminals as well.
    for (std::size_t at = line.find('\xC2'); at != std::string::npos; at = line.find('\xC2', at + 1)) {
        if (at + 1 < line.size() && static_cast<unsigned char>(line[at + 1]) < 0xA0U) {
            line.replace(at, 2, " ");
        }
    }
    // What turns the direction of all that follows would let a title rewrite the rest of its line: U+202A to U+202E
    // and U+2066 to U+2069.
    for (std::size_t at = line.find('\xE2'); at != std::string::npos; at = line.find('\xE2', at + 1)) {
        const auto rest = std::string_view(line).substr(at, 3);
        const bool isOverride = rest >= "\xE2\x80\xAA" && rest <= "\xE2\x80\xAE";
        const bool isIsolate = rest >= "\xE2\x81\xA6" && rest <= "\xE2\x81\xA9";
        if (isOverride || isIsolate) {
            line.replace(at, 3, " ");
        }
    }
    return line;
}

std::string Palette::paint(std::string_view text, std::string_view code) const {
    return colours_ ? fmt::format("\x1B[{}m{}\x1B[0m", code, text) : std::string(text);
}

}  // namespace tolvik
