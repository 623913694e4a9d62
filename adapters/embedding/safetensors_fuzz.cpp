// Any bytes may stand where the model does. What is read must lie within them.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "adapters/embedding/minilm.h"
#include "adapters/embedding/safetensors.h"

// The name is libFuzzer's.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The input is the header's text; its length is written as it should be, and a little data follows.
    constexpr std::size_t dataBytes = 64;
    std::vector<std::byte> file(8 + size + dataBytes);
    const std::uint64_t length = size;
    std::memcpy(file.data(), &length, sizeof length);
    if (size > 0) {
        std::memcpy(file.data() + 8, data, size);
    }
    if (const auto tensors = tolvik::Safetensors::read(file)) {
        const std::array<std::size_t, 1> shape{2};
        float sum = 0;
        for (const float x : tensors->floats("a", shape)) {
            sum += x;
        }
        static_cast<void>(sum);
        static_cast<void>(tolvik::MiniLm::load(*tensors, 2));
    }
    // And as it stands, length and all.
    static_cast<void>(tolvik::Safetensors::read(std::as_bytes(std::span(data, size))));
    return 0;
}
