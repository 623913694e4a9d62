#include "adapters/embedding/int8_matrix.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tolvik {
namespace {

constexpr std::size_t lanes = 8;
using Floats = float __attribute__((vector_size(lanes * sizeof(float))));
using Bytes = std::int8_t __attribute__((vector_size(lanes)));

struct Product {
    const std::int8_t* weights;
    const float* scales;
    const float* bias;
    std::size_t rows;
    std::size_t columns;
    const float* in;
    float* out;
};

/// `Tokens` input vectors from `token` on times two rows: as many sums as fit the registers.
template <std::size_t Tokens, std::size_t Rows>
[[gnu::always_inline]] inline void tile(const Product& p, std::size_t token, std::size_t row) {
    Floats sums[Rows][Tokens] = {};
    for (std::size_t k = 0; k < p.columns; k += lanes) {
        Floats weights[Rows];
        for (std::size_t r = 0; r < Rows; ++r) {
            Bytes bytes;
            std::memcpy(&bytes, p.weights + (row + r) * p.columns + k, sizeof bytes);
            weights[r] = __builtin_convertvector(bytes, Floats);
        }
        for (std::size_t t = 0; t < Tokens; ++t) {
            Floats in;
            std::memcpy(&in, p.in + (token + t) * p.columns + k, sizeof in);
            for (std::size_t r = 0; r < Rows; ++r) {
                sums[r][t] += weights[r] * in;
            }
        }
    }
    for (std::size_t r = 0; r < Rows; ++r) {
        for (std::size_t t = 0; t < Tokens; ++t) {
            float sum = 0;
            for (std::size_t lane = 0; lane < lanes; ++lane) {
                sum += sums[r][t][lane];
            }
            p.out[(token + t) * p.rows + row + r] = sum * p.scales[row + r] + p.bias[row + r];
        }
    }
}

template <std::size_t Rows>
[[gnu::always_inline]] inline void rowsOf(const Product& p, std::size_t count, std::size_t row) {
    std::size_t token = 0;
    for (; token + 4 <= count; token += 4) {
        tile<4, Rows>(p, token, row);
    }
    switch (count - token) {
        case 3:
            tile<3, Rows>(p, token, row);
            break;
        case 2:
            tile<2, Rows>(p, token, row);
            break;
        case 1:
            tile<1, Rows>(p, token, row);
            break;
        default:
            break;
    }
}

[[gnu::always_inline]] inline void multiply(const Product& p, std::size_t count) {
    std::size_t row = 0;
    for (; row + 2 <= p.rows; row += 2) {
        rowsOf<2>(p, count, row);
    }
    if (row < p.rows) {
        rowsOf<1>(p, count, row);
    }
}

using Multiply = void (*)(const Product&, std::size_t);

void multiplyPlain(const Product& p, std::size_t count) {
    multiply(p, count);
}

#if defined(__x86_64__)
[[gnu::target("avx2,fma")]] void multiplyAvx2(const Product& p, std::size_t count) {
    multiply(p, count);
}
#endif

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
