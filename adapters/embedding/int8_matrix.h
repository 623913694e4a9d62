#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tolvik {

/// A matrix of weights with a bias, each row kept as bytes and one scale: a quarter of the memory to read, which is
/// what small products wait for. Immutable; any thread.
class Int8Matrix {
public:
    Int8Matrix() = default;
    /// `weights` row by row; `columns` is a multiple of 8.
    Int8Matrix(std::span<const float> weights, std::span<const float> bias, std::size_t columns);

    [[nodiscard]] std::size_t rows() const { return bias_.size(); }
    [[nodiscard]] std::size_t columns() const { return columns_; }

    /// False when a weight was no number; then the products are none either.
    [[nodiscard]] bool isFinite() const { return isFinite_; }

    /// out[t] = this · in[t] + bias for `count` vectors that lie one after another.
    void apply(const float* in, std::size_t count, float* out) const;

private:
    std::size_t columns_ = 0;
    bool isFinite_ = true;
    std::vector<std::int8_t> weights_;
    std::vector<float> scales_;
    std::vector<float> bias_;
};

}  // namespace tolvik
