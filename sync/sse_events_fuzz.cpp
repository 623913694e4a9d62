#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "sync/http_date.h"
#include "sync/sse_events.h"

namespace {

std::vector<tolvik::SseEvents::Event> heard(std::string_view bytes, std::size_t part) {
    tolvik::SseEvents events;
    std::vector<tolvik::SseEvents::Event> out;
    for (; !bytes.empty(); bytes.remove_prefix(std::min(part, bytes.size()))) {
        const auto more = events.take(bytes.substr(0, part));
        out.insert(out.end(), more.begin(), more.end());
    }
    return out;
}

}  // namespace

/// A change stream says the same however its bytes are cut; and a date of any bytes is read or refused.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    static_cast<void>(tolvik::parseHttpDate(bytes));
    const auto whole = heard(bytes, size + 1);
    if (whole != heard(bytes, 1) || whole != heard(bytes, 3)) {
        std::abort();
    }
    return 0;
}
