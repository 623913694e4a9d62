#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tolvik {

/// The tensors of a safetensors file: eight bytes of header length (little endian), a JSON object from name to
/// {"dtype","shape","data_offsets"}, then the data. The bytes outlive it. Any bytes are safe to read.
class Safetensors {
public:
    /// None when the file is not whole and well formed.
    [[nodiscard]] static std::optional<Safetensors> read(std::span<const std::byte> file);

    /// The numbers of a 32-bit float tensor of exactly this shape, row by row; empty when there is none.
    [[nodiscard]] std::span<const float> floats(std::string_view name, std::span<const std::size_t> shape) const;

private:
    struct Tensor {
        bool isFloat32 = false;
        std::vector<std::size_t> shape;
        std::span<const std::byte> bytes;
    };
    std::map<std::string, Tensor, std::less<>> tensors_;
};

}  // namespace tolvik
