#include <cstddef>
#include <cstdint>
#include <string_view>

#include "adapters/speech/speech_protocol.h"

/// Any bytes, cut in two at a place of their choosing, are read or refused.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const std::size_t cut = size == 0 ? 0 : data[0] % size;
    tolvik::SpeechMessageReader reader;
    for (const std::string_view part : {bytes.substr(0, cut), bytes.substr(cut)}) {
        reader.append(part);
        while (true) {
            const auto message = reader.next();
            if (!message) {
                return 0;
            }
            if (!*message) {
                break;
            }
        }
    }
    return 0;
}
