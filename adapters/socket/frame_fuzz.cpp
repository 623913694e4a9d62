// Any bytes, cut anywhere: the reader keeps to its limit, and the cuts make no difference.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "adapters/socket/frame.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr std::size_t most = 64;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    tolvik::FrameReader whole(most);
    whole.take(bytes);
    tolvik::FrameReader pieces(most);
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t step = 1 + static_cast<unsigned char>(bytes[at]) % 7U;
        pieces.take(bytes.substr(at, step));
        at += step;
    }
    if (whole.state() != pieces.state() || whole.message() != pieces.message() || whole.message().size() > most) {
        std::abort();
    }
    return 0;
}
