#pragma once

#include <cstddef>
#include <simdjson.h>
#include <string_view>

#include "base/result.h"

namespace tolvik {

/// Reads JSON texts that came from outside, of bounded length and depth. One thread at a time.
class JsonReader {
public:
    struct Limits {
        std::size_t bytes;
        std::size_t depth = 32;
    };
    explicit JsonReader(Limits limits) : limits_(limits) {}

    /// The text as a value, which lives until the next reading. The error says what is wrong with it. Any bytes; an
    /// empty text is an error.
    [[nodiscard]] Result<simdjson::dom::element, std::string_view> read(std::string_view text);
    /// Likewise, and it must be an object.
    [[nodiscard]] Result<simdjson::dom::object, std::string_view> readObject(std::string_view text);

private:
    Limits limits_;
    simdjson::dom::parser parser_;
};

}  // namespace tolvik
