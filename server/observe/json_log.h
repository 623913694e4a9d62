#pragma once

#include <cstdint>
#include <initializer_list>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace tolvik::server {

enum class LogLevel : std::uint8_t { debug, info, warning, error };

/// Writes one JSON object a line to the standard error output. Callers name events and numbers, never what a request
/// held: no address, no e-mail, no title, no token. Any thread.
class JsonLog {
public:
    using Value = std::variant<std::string_view, std::int64_t, double, bool>;
    using Field = std::pair<std::string_view, Value>;

    explicit JsonLog(LogLevel least, int descriptor = 2) : least_(least), descriptor_(descriptor) {}

    void write(LogLevel level, std::string_view event, std::initializer_list<Field> fields = {});
    [[nodiscard]] bool wants(LogLevel level) const { return level >= least_; }

private:
    const LogLevel least_;
    const int descriptor_;
    std::mutex mutex_;
};

}  // namespace tolvik::server
