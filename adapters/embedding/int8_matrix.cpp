#include "adapters/embedding/int8_matrix.h"

#include <algorithm>
#include <cmath>

#include "adapters/embedding/int8_product.h"

namespace tolvik {
namespace {

using Multiply = void (*)(const Int8Product&, std::size_t);

Multiply bestMultiply() {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0) {
        return multiplyAvx2;
    }
#endif
    return multiplyPlain;
}

}  // namespace

Int8Matrix::Int8Matrix(std::span<const float> weights, std::span<const float> bias, std::size_t columns)
    : columns_(columns), weights_(weights.size()), scales_(bias.size()), bias_(bias.begin(), bias.end()) {
    constexpr float largest = 127.0F;
    for (std::size_t row = 0; row < bias.size(); ++row) {
        const std::span<const float> from = weights.subspan(row * columns, columns);
        float peak = 0;
        for (const float weight : from) {
            peak = std::max(peak, std::abs(weight));
            isFinite_ = isFinite_ && std::isfinite(weight);
        }
        if (!isFinite_) {
            return;
        }
        scales_[row] = peak / largest;
        const float inverse = peak > 0 ? largest / peak : 0;
        for (std::size_t k = 0; k < columns; ++k) {
            const float scaled = from[k] * inverse;
            weights_[row * columns + k] = static_cast<std::int8_t>(scaled + (scaled < 0 ? -0.5F : 0.5F));
        }
    }
}

void Int8Matrix::apply(const float* in, std::size_t count, float* out) const {
    static const Multiply best = bestMultiply();
    best({weights_.data(), scales_.data(), bias_.data(), rows(), columns_, in, out}, count);
}

}  // namespace tolvik
