#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "adapters/audiofile/av_handles.h"
#include "adapters/audiofile/sound_decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    av_log_set_level(AV_LOG_QUIET);
    const auto sound = tolvik::decodeSound({data, size});
    if (sound && (sound->format.channels <= 0 || sound->interleaved.size() > tolvik::maxDecodedSamples ||
                  sound->interleaved.size() % static_cast<std::size_t>(sound->format.channels) != 0)) {
        std::abort();
    }
    return 0;
}
