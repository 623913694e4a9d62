#pragma once

// The inner loop of Int8Matrix, included by one file for each kind of processor: what stands here is compiled for the
// instructions of the file that includes it, so nothing of it may be shared between them.

#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__AVX2__)
#include <immintrin.h>
#endif

#include "adapters/embedding/int8_product.h"

namespace tolvik {

namespace {  // NOLINT(cert-dcl59-cpp,google-build-namespaces): see above

constexpr std::size_t kernelLanes = 8;
/// Sums of a tile that fit sixteen registers beside what is multiplied.
constexpr std::size_t largestTile = 6;

#if defined(__AVX2__)

using Lanes = __m256;

[[gnu::always_inline]] inline void widen(const std::int8_t* bytes, Lanes& out) {
    out = _mm256_cvtepi32_ps(_mm256_cvtepi8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes))));
}

#else

using Lanes = float __attribute__((vector_size(kernelLanes * sizeof(float))));

[[gnu::always_inline]] inline void widen(const std::int8_t* bytes, Lanes& out) {
    float floats[kernelLanes];
    for (std::size_t i = 0; i < kernelLanes; ++i) {
        floats[i] = static_cast<float>(bytes[i]);
    }
    std::memcpy(&out, floats, sizeof out);
}

#endif

template <std::size_t Tokens, std::size_t Rows>
[[gnu::always_inline]] inline void tile(const Int8Product& p, std::size_t token, std::size_t row) {
    Lanes sums[Rows][Tokens] = {};
    for (std::size_t k = 0; k < p.columns; k += kernelLanes) {
        Lanes weights[Rows];
        for (std::size_t r = 0; r < Rows; ++r) {
            widen(p.weights + (row + r) * p.columns + k, weights[r]);
        }
        for (std::size_t t = 0; t < Tokens; ++t) {
            Lanes in;
            std::memcpy(&in, p.in + (token + t) * p.columns + k, sizeof in);
            for (std::size_t r = 0; r < Rows; ++r) {
                sums[r][t] += weights[r] * in;
            }
        }
    }
    for (std::size_t r = 0; r < Rows; ++r) {
        for (std::size_t t = 0; t < Tokens; ++t) {
            float sum = 0;
            for (std::size_t lane = 0; lane < kernelLanes; ++lane) {
                sum += sums[r][t][lane];
            }
            p.out[(token + t) * p.rows + row + r] = sum * p.scales[row + r] + p.bias[row + r];
        }
    }
}

template <std::size_t Rows>
[[gnu::always_inline]] inline void rowsOf(const Int8Product& p, std::size_t count, std::size_t row) {
    // Tiles of nearly equal size: a last tile of one vector would widen all weights for it alone.
    for (std::size_t token = 0, tiles = (count + largestTile - 1) / largestTile; tiles > 0; --tiles) {
        const std::size_t size = (count - token + tiles - 1) / tiles;
        switch (size) {
            case 6:
                tile<6, Rows>(p, token, row);
                break;
            case 5:
                tile<5, Rows>(p, token, row);
                break;
            case 4:
                tile<4, Rows>(p, token, row);
                break;
            case 3:
                tile<3, Rows>(p, token, row);
                break;
            case 2:
                tile<2, Rows>(p, token, row);
                break;
            default:
                tile<1, Rows>(p, token, row);
                break;
        }
        token += size;
    }
}

[[gnu::always_inline]] inline void multiply(const Int8Product& p, std::size_t count) {
    std::size_t row = 0;
    for (; row + 2 <= p.rows; row += 2) {
        rowsOf<2>(p, count, row);
    }
    if (row < p.rows) {
        rowsOf<1>(p, count, row);
    }
}

}  // namespace
}  // namespace tolvik
