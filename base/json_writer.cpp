#include "base/json_writer.h"

#include <fmt/format.h>
#include <iterator>

#include "base/text.h"

namespace tolvik {

void appendJsonString(std::string& out, std::string_view text) {
    if (!isUtf8(text)) {
        appendJsonString(out, toValidUtf8(text));
        return;
    }
    out += '"';
    std::size_t plain = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (c >= 0x20 && c != '"' && c != '\\') {
            continue;
        }
        out.append(text, plain, i - plain);
        plain = i + 1;
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                fmt::format_to(std::back_inserter(out), "\\u{:04x}", c);
        }
    }
    out.append(text, plain, text.size() - plain);
    out += '"';
}

void JsonObjectWriter::number(std::string_view key, std::int64_t value) {
    name(key);
    fmt::format_to(std::back_inserter(out_), "{}", value);
}

void JsonObjectWriter::name(std::string_view key) {
    if (!first_) {
        out_ += ',';
    }
    first_ = false;
    appendJsonString(out_, key);
    out_ += ':';
}

}  // namespace tolvik
