#include "server/api/multipart.h"

#include <algorithm>
#include <optional>

namespace tolvik::server {
namespace {

constexpr std::size_t mostParts = 16;
constexpr std::size_t longestHead = 4096;
/// RFC 2046, section 5.1.1.
constexpr std::size_t longestBoundary = 70;
constexpr std::string_view lineEnd = "\r\n";

std::string lowered(std::string_view text) {
    std::string out(text);
    std::ranges::transform(out, out.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
    return out;
}

std::string_view trimmedBlanks(std::string_view text) {
    const auto begin = text.find_first_not_of(" \t");
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(" \t") - begin + 1);
}

/// A parameter of a header such as `form-data; name="audio"`, quoted or not.
std::optional<std::string> parameter(std::string_view header, std::string_view name) {
    std::size_t at = header.find(';');
    while (at != std::string_view::npos && at < header.size()) {
        ++at;
        const std::size_t equals = header.find('=', at);
        if (equals == std::string_view::npos) {
            return std::nullopt;
        }
        const std::string key = lowered(trimmedBlanks(header.substr(at, equals - at)));
        std::string value;
        std::size_t next = equals + 1;
        if (next < header.size() && header[next] == '"') {
            for (++next; next < header.size() && header[next] != '"'; ++next) {
                if (header[next] == '\\' && next + 1 < header.size()) {
                    ++next;
                }
                value += header[next];
            }
            if (next == header.size()) {
                return std::nullopt;
            }
            at = header.find(';', next);
        } else {
            at = header.find(';', next);
            value = trimmedBlanks(header.substr(next, at == std::string_view::npos ? at : at - next));
        }
        if (key == name) {
            return value;
        }
    }
    return std::nullopt;
}

/// The disposition of a part's head.
std::optional<FormPart> readHead(std::string_view head) {
    constexpr std::string_view disposition = "content-disposition:";
    while (!head.empty()) {
        const std::size_t end = std::min(head.find(lineEnd), head.size());
        const std::string_view line = head.substr(0, end);
        head.remove_prefix(std::min(end + lineEnd.size(), head.size()));
        if (!lowered(line.substr(0, disposition.size())).starts_with(disposition)) {
            continue;
        }
        const std::string_view value = trimmedBlanks(line.substr(disposition.size()));
        if (lowered(value.substr(0, value.find(';'))) != "form-data") {
            return std::nullopt;
        }
        auto name = parameter(value, "name");
        if (!name) {
            return std::nullopt;
        }
        return FormPart{*std::move(name), parameter(value, "filename").value_or(""), {}};
    }
    return std::nullopt;
}

}  // namespace

Result<std::vector<FormPart>, std::string> readMultipart(std::string_view contentType, std::string_view body) {
    const auto broken = [] { return failure(std::string("The form is not valid multipart/form-data.")); };
    const auto boundary = parameter(contentType, "boundary");
    if (lowered(trimmedBlanks(contentType.substr(0, contentType.find(';')))) != "multipart/form-data" || !boundary ||
        boundary->empty() || boundary->size() > longestBoundary) {
        return broken();
    }
    const std::string opening = "--" + *boundary;
    const std::string delimiter = std::string(lineEnd) + opening;
    if (!body.starts_with(opening)) {
        return broken();
    }
    body.remove_prefix(opening.size());
    std::vector<FormPart> out;
    while (!body.starts_with("--")) {
        if (!body.starts_with(lineEnd) || out.size() == mostParts) {
            return broken();
        }
        // The line end that closes an empty head is the one before it.
        const std::size_t headEnd = body.substr(0, longestHead).find("\r\n\r\n");
        if (headEnd == std::string_view::npos) {
            return broken();
        }
        const std::size_t begin = headEnd + 2 * lineEnd.size();
        const std::size_t end = body.find(delimiter, begin - lineEnd.size());
        auto part = readHead(body.substr(lineEnd.size(), std::max(headEnd, lineEnd.size()) - lineEnd.size()));
        if (!part || end == std::string_view::npos) {
            return broken();
        }
        part->bytes = end < begin ? std::string_view() : body.substr(begin, end - begin);
        out.push_back(*std::move(part));
        body.remove_prefix(end + delimiter.size());
    }
    return out;
}

}  // namespace tolvik::server
