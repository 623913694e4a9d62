#pragma once

#include <cstddef>
#include <cstdint>

namespace tolvik {

/// `count` vectors of `columns` numbers times `rows` rows of weights. `columns` is a multiple of 8.
struct Int8Product {
    const std::int8_t* weights;
    const float* scales;
    const float* bias;
    std::size_t rows;
    std::size_t columns;
    const float* in;
    float* out;
};

void multiplyPlain(const Int8Product& product, std::size_t count);
/// Only where the processor has AVX2 and FMA.
void multiplyAvx2(const Int8Product& product, std::size_t count);

}  // namespace tolvik
