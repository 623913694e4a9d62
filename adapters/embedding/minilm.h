#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "adapters/embedding/int8_matrix.h"
#include "adapters/embedding/safetensors.h"

namespace tolvik {

/// The forward pass of all-MiniLM-L6-v2: pieces to one vector of length 1. Immutable; any thread.
class MiniLm {
public:
    static constexpr std::size_t width = 384;
    /// Pieces of a sentence that the model was trained on.
    static constexpr std::size_t longestSentence = 256;

    /// The layers' weights are copied; the embedding tables stay where they are, and outlive the model. None when a
    /// tensor is missing, of another shape or holds what is no number.
    [[nodiscard]] static std::optional<MiniLm> load(const Safetensors& file, std::size_t vocabulary);

    /// `pieces` holds 1 to `longestSentence` numbers below the vocabulary's size.
    [[nodiscard]] std::vector<float> vectorOf(std::span<const std::int32_t> pieces) const;

private:
    struct Norm {
        std::vector<float> weight;
        std::vector<float> bias;

        void apply(std::span<float> rows) const;
    };
    struct Layer {
        Int8Matrix query;
        Int8Matrix key;
        Int8Matrix value;
        Int8Matrix attended;
        Norm attendedNorm;
        Int8Matrix wide;
        Int8Matrix narrow;
        Norm narrowNorm;
    };
    static constexpr std::size_t layerCount = 6;

    std::span<const float> words_;
    std::span<const float> positions_;
    std::span<const float> types_;
    Norm inputNorm_;
    std::vector<Layer> layers_;
};

}  // namespace tolvik
