#include "server/observe/json_log.h"

#include <chrono>
#include <nlohmann/json.hpp>
#include <unistd.h>

#include "base/time.h"

namespace tolvik::server {
namespace {

std::string_view nameOf(LogLevel level) {
    switch (level) {
        case LogLevel::debug:
            return "debug";
        case LogLevel::info:
            return "info";
        case LogLevel::warning:
            return "warning";
        case LogLevel::error:
            return "error";
    }
    return "info";
}

}  // namespace

void JsonLog::write(LogLevel level, std::string_view event, std::initializer_list<Field> fields) {
    if (!wants(level)) {
        return;
    }
    const auto now = std::chrono::duration_cast<Millis>(std::chrono::system_clock::now().time_since_epoch());
    nlohmann::ordered_json line{{"time", formatInstant({now.count()})}, {"level", nameOf(level)}, {"event", event}};
    for (const auto& [name, value] : fields) {
        std::visit([&](const auto& one) { line[std::string(name)] = one; }, value);
    }
    std::string text = line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
    const std::lock_guard lock(mutex_);
    for (std::string_view rest = text; !rest.empty();) {
        const auto written = ::write(descriptor_, rest.data(), rest.size());
        if (written <= 0 && errno != EINTR) {
            return;
        }
        rest.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
}

}  // namespace tolvik::server
