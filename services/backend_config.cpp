#include "services/backend_config.h"

#include <fstream>

namespace tolvik {
namespace {

constexpr std::string_view kBlanks = " \t\r";

std::string_view withoutBlanks(std::string_view text) {
    const auto first = text.find_first_not_of(kBlanks);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

}  // namespace

std::optional<std::string> configuredValue(const std::filesystem::path& file, std::string_view key) {
    std::ifstream stream(file);
    std::optional<std::string> found;
    for (std::string line; std::getline(stream, line);) {
        const auto text = withoutBlanks(line);
        const auto equals = text.find('=');
        if (text.starts_with('#') || text.starts_with(';') || equals == std::string_view::npos ||
            withoutBlanks(text.substr(0, equals)) != key) {
            continue;
        }
        auto value = withoutBlanks(text.substr(equals + 1));
        if (value.size() >= 2 && value.starts_with('"') && value.ends_with('"')) {
            value = value.substr(1, value.size() - 2);
        }
        found = std::string(value);
    }
    return found;
}

std::optional<std::string> configuredBackendUrl(const Environment& environment,
                                                const std::vector<std::filesystem::path>& files) {
    if (auto value = environment(kBackendUrlKey); value && !value->empty()) {
        return value;
    }
    for (const auto& file : files) {
        if (auto value = configuredValue(file, kBackendUrlKey); value && !value->empty()) {
            return value;
        }
    }
    return std::nullopt;
}

std::vector<std::filesystem::path> configurationFiles(const Paths& paths) {
    return {paths.config / "tolvik.conf", "/etc/tolvik/tolvik.conf"};
}

}  // namespace tolvik
