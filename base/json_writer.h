#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tolvik {

/// Appends `text` to `out` as a JSON string with its quotes. Bytes that are not UTF-8 become U+FFFD.
void appendJsonString(std::string& out, std::string_view text);

/// Writes one JSON object member by member in the order of the calls.
class JsonObjectWriter {
public:
    explicit JsonObjectWriter(std::string& out) : out_(out) { out_ += '{'; }
    JsonObjectWriter(const JsonObjectWriter&) = delete;
    JsonObjectWriter& operator=(const JsonObjectWriter&) = delete;
    ~JsonObjectWriter() { out_ += '}'; }

    void text(std::string_view key, std::string_view value) {
        name(key);
        appendJsonString(out_, value);
    }
    void number(std::string_view key, std::int64_t value);
    void boolean(std::string_view key, bool value) {
        name(key);
        out_ += value ? "true" : "false";
    }
    void null(std::string_view key) {
        name(key);
        out_ += "null";
    }
    /// `json` is written as it stands.
    void raw(std::string_view key, std::string_view json) {
        name(key);
        out_ += json;
    }

private:
    void name(std::string_view key);

    std::string& out_;
    bool first_ = true;
};

}  // namespace tolvik
