#include "adapters/system/system_time_zone.h"

#include <cctype>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace tolvik {
namespace {

constexpr std::string_view kDatabase = "zoneinfo/";

std::string nameInPath(std::string_view path) {
    const auto at = path.rfind(kDatabase);
    if (at == std::string_view::npos) {
        return {};
    }
    auto name = path.substr(at + kDatabase.size());
    for (const std::string_view variant : {"posix/", "right/"}) {
        if (name.starts_with(variant)) {
            name.remove_prefix(variant.size());
        }
    }
    return std::string(name);
}

/// "UTC-3" and "<+03>-3" count hours west of Greenwich, as the names Etc/GMT-3 do.
std::string fixedOffset(std::string_view value) {
    std::size_t letters = 0;
    if (value.starts_with('<')) {
        letters = value.find('>');
        letters = letters == std::string_view::npos ? 0 : letters + 1;
    } else {
        while (letters < value.size() && std::isalpha(static_cast<unsigned char>(value[letters])) != 0) {
            ++letters;
        }
    }
    auto digits = value.substr(letters);
    if (letters < 3 || digits.empty()) {
        return {};
    }
    if (digits.front() == '+') {
        digits.remove_prefix(1);
    }
    int hours = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), hours);
    if (error != std::errc{} || end != digits.data() + digits.size() || hours < -14 || hours > 12) {
        return {};
    }
    return hours == 0 ? "UTC" : "Etc/GMT" + std::string(hours > 0 ? "+" : "") + std::to_string(hours);
}

}  // namespace

std::string zoneNameOfVariable(std::string_view value) {
    if (value.starts_with(':')) {
        value.remove_prefix(1);
    }
    if (value.starts_with('/')) {
        return nameInPath(value);
    }
    if (auto offset = fixedOffset(value); !offset.empty() && !NamedTimeZone::find(value)) {
        return offset;
    }
    return std::string(value);
}

SystemTimeZone::SystemTimeZone(std::string root, Millis checkEvery)
    : root_(std::move(root)),
      checkEvery_(checkEvery),
      configured_(configuredName()),
      zone_(configured_),
      checked_(std::chrono::steady_clock::now()) {}

NamedTimeZone SystemTimeZone::current() const {
    const auto now = std::chrono::steady_clock::now();
    const std::scoped_lock lock(mutex_);
    if (now - checked_ >= checkEvery_) {
        checked_ = now;
        if (auto name = configuredName(); name != configured_) {
            configured_ = std::move(name);
            zone_ = NamedTimeZone(configured_);
        }
    }
    return zone_;
}

std::string SystemTimeZone::configuredName() const {
    if (root_.empty()) {
        if (const char* variable = std::getenv("TZ"); variable != nullptr) {
            return zoneNameOfVariable(variable);
        }
    }
    std::error_code error;
    if (const auto target = std::filesystem::read_symlink(root_ + "/etc/localtime", error); !error) {
        if (auto name = nameInPath(target.string()); !name.empty()) {
            return name;
        }
    }
    std::string name;
    std::ifstream(root_ + "/etc/timezone") >> name;
    return name;
}

}  // namespace tolvik
