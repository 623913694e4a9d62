#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "server/net/request_reader.h"

namespace {

using tolvik::server::RequestReader;

/// What a connection does with the bytes, in parts of this size.
void read(std::string_view text, std::size_t part) {
    constexpr std::size_t limit = 1'000;
    RequestReader reader;
    std::string waiting;
    while (true) {
        waiting.erase(0, reader.feed(waiting));
        if (reader.state() == RequestReader::State::headed) {
            reader.readBody(limit);
            continue;
        }
        if (reader.state() == RequestReader::State::done || reader.state() == RequestReader::State::refused) {
            break;
        }
        if (waiting.size() > RequestReader::headLimit + part || reader.bodySize() > limit) {
            std::abort();
        }
        if (text.empty()) {
            return;
        }
        waiting += text.substr(0, part);
        text.remove_prefix(std::min(part, text.size()));
    }
    if (reader.state() == RequestReader::State::done &&
        (reader.request().body.size() > limit || !reader.request().path.starts_with('/'))) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    read(text, 1 + size);
    read(text, 3);
    return 0;
}
