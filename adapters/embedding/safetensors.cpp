#include "adapters/embedding/safetensors.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>

namespace tolvik {
namespace {

using Json = nlohmann::json;

constexpr std::size_t lengthBytes = 8;
/// Far above what a model of this kind needs.
constexpr std::uint64_t longestHeader = 16U << 20U;

/// None unless the value is a list of whole numbers that fit.
std::optional<std::vector<std::size_t>> sizes(const Json& object, const char* key) {
    const auto found = object.find(key);
    if (found == object.end() || !found->is_array()) {
        return std::nullopt;
    }
    std::vector<std::size_t> out;
    for (const Json& number : *found) {
        if (!number.is_number_unsigned()) {
            return std::nullopt;
        }
        out.push_back(number.get<std::size_t>());
    }
    return out;
}

}  // namespace

std::optional<Safetensors> Safetensors::read(std::span<const std::byte> file) {
    static_assert(std::endian::native == std::endian::little, "the file's numbers are used as they lie");
    std::uint64_t headerLength = 0;
    if (file.size() < lengthBytes) {
        return std::nullopt;
    }
    std::memcpy(&headerLength, file.data(), lengthBytes);
    if (headerLength > longestHeader || headerLength > file.size() - lengthBytes) {
        return std::nullopt;
    }
    const auto* text = reinterpret_cast<const char*>(file.data()) + lengthBytes;
    const Json header = Json::parse(text, text + headerLength, nullptr, false);
    if (!header.is_object()) {
        return std::nullopt;
    }
    const std::span<const std::byte> data = file.subspan(lengthBytes + headerLength);
    Safetensors out;
    for (const auto& [name, object] : header.items()) {
        if (name == "__metadata__") {
            continue;
        }
        const auto shape = sizes(object, "shape");
        const auto offsets = sizes(object, "data_offsets");
        const auto dtype = object.find("dtype");
        if (!shape || !offsets || offsets->size() != 2 || dtype == object.end() || !dtype->is_string() ||
            (*offsets)[0] > (*offsets)[1] || (*offsets)[1] > data.size()) {
            return std::nullopt;
        }
        out.tensors_.insert_or_assign(
            name, Tensor{*dtype == "F32", *shape, data.subspan((*offsets)[0], (*offsets)[1] - (*offsets)[0])});
    }
    return out;
}

std::span<const float> Safetensors::floats(std::string_view name, std::span<const std::size_t> shape) const {
    const auto found = tensors_.find(name);
    if (found == tensors_.end() || !found->second.isFloat32 || !std::ranges::equal(found->second.shape, shape)) {
        return {};
    }
    std::size_t count = 1;
    for (const std::size_t size : shape) {
        count *= size;
    }
    const std::span<const std::byte> bytes = found->second.bytes;
    const bool isAligned = reinterpret_cast<std::uintptr_t>(bytes.data()) % alignof(float) == 0;
    if (bytes.size() != count * sizeof(float) || !isAligned) {
        return {};
    }
    return {reinterpret_cast<const float*>(bytes.data()), count};
}

}  // namespace tolvik
