#include "adapters/embedding/minilm.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace tolvik {
namespace {

constexpr std::size_t width = MiniLm::width;
constexpr std::size_t wideWidth = 1536;
constexpr std::size_t heads = 12;
constexpr std::size_t headWidth = width / heads;
constexpr std::size_t positionCount = 512;
constexpr std::size_t typeCount = 2;
constexpr float normEpsilon = 1e-12F;

/// The Gaussian error linear unit, by Abramowitz and Stegun's formula 7.1.26 for the error function (error 1.5e-7).
float gelu(float x) {
    const float z = std::abs(x) * 0.70710678F;
    const float t = 1.0F / (1.0F + 0.3275911F * z);
    const float series =
        t * (0.254829592F + t * (-0.284496736F + t * (1.421413741F + t * (-1.453152027F + t * 1.061405429F))));
    const float erf = 1.0F - series * std::exp(-z * z);
    return 0.5F * x * (1.0F + (x < 0 ? -erf : erf));
}

void addTo(std::vector<float>& sum, const std::vector<float>& other) {
    for (std::size_t i = 0; i < sum.size(); ++i) {
        sum[i] += other[i];
    }
}

/// Each vector of `query` gets the values of all vectors, weighed by likeness of query and key, head by head.
std::vector<float> attend(const std::vector<float>& query, const std::vector<float>& key,
                          const std::vector<float>& value, std::size_t count) {
    const float scale = 1.0F / std::sqrt(static_cast<float>(headWidth));
    std::vector<float> out(count * width, 0.0F);
    std::vector<float> weights(count);
    for (std::size_t head = 0; head < heads; ++head) {
        for (std::size_t i = 0; i < count; ++i) {
            const float* q = &query[i * width + head * headWidth];
            float peak = -INFINITY;
            for (std::size_t j = 0; j < count; ++j) {
                const float* k = &key[j * width + head * headWidth];
                float dot = 0;
                for (std::size_t d = 0; d < headWidth; ++d) {
                    dot += q[d] * k[d];
                }
                weights[j] = dot * scale;
                peak = std::max(peak, weights[j]);
            }
            float sum = 0;
            for (float& weight : weights) {
                weight = std::exp(weight - peak);
                sum += weight;
            }
            float* to = &out[i * width + head * headWidth];
            for (std::size_t j = 0; j < count; ++j) {
                const float* v = &value[j * width + head * headWidth];
                const float share = weights[j] / sum;
                for (std::size_t d = 0; d < headWidth; ++d) {
                    to[d] += share * v[d];
                }
            }
        }
    }
    return out;
}

std::vector<float> applied(const Int8Matrix& matrix, const std::vector<float>& in, std::size_t count) {
    std::vector<float> out(count * matrix.rows());
    matrix.apply(in.data(), count, out.data());
    return out;
}

/// Reads tensors until one is missing.
struct Reader {
    const Safetensors& file;
    bool complete = true;

    std::span<const float> table(const std::string& name, std::size_t rows) {
        const std::array<std::size_t, 2> shape{rows, width};
        return check(file.floats(name, shape));
    }
    std::vector<float> vector(const std::string& name, std::size_t size) {
        const std::array<std::size_t, 1> shape{size};
        const auto found = check(file.floats(name, shape));
        complete = complete && std::ranges::all_of(found, [](float x) { return std::isfinite(x); });
        return {found.begin(), found.end()};
    }
    Int8Matrix matrix(const std::string& name, std::size_t rows, std::size_t columns) {
        const std::array<std::size_t, 2> shape{rows, columns};
        const auto weights = check(file.floats(name + ".weight", shape));
        const auto bias = vector(name + ".bias", rows);
        if (!complete) {
            return {};
        }
        Int8Matrix out(weights, bias, columns);
        complete = out.isFinite();
        return out;
    }

private:
    std::span<const float> check(std::span<const float> found) {
        complete = complete && !found.empty();
        return found;
    }
};

}  // namespace

void MiniLm::Norm::apply(std::span<float> rows) const {
    for (; !rows.empty(); rows = rows.subspan(width)) {
        const std::span<float> row = rows.first(width);
        float mean = 0;
        for (const float x : row) {
            mean += x;
        }
        mean /= static_cast<float>(width);
        float variance = 0;
        for (const float x : row) {
            variance += (x - mean) * (x - mean);
        }
        const float scale = 1.0F / std::sqrt(variance / static_cast<float>(width) + normEpsilon);
        for (std::size_t i = 0; i < width; ++i) {
            row[i] = (row[i] - mean) * scale * weight[i] + bias[i];
        }
    }
}

std::optional<MiniLm> MiniLm::load(const Safetensors& file, std::size_t vocabulary) {
    Reader read{file};
    const auto norm = [&](const std::string& name) {
        return Norm{read.vector(name + ".weight", width), read.vector(name + ".bias", width)};
    };
    MiniLm model;
    model.words_ = read.table("embeddings.word_embeddings.weight", vocabulary);
    model.positions_ = read.table("embeddings.position_embeddings.weight", positionCount);
    model.types_ = read.table("embeddings.token_type_embeddings.weight", typeCount);
    model.inputNorm_ = norm("embeddings.LayerNorm");
    for (std::size_t i = 0; i < layerCount && read.complete; ++i) {
        const std::string name = "encoder.layer." + std::to_string(i) + ".";
        Layer layer;
        layer.query = read.matrix(name + "attention.self.query", width, width);
        layer.key = read.matrix(name + "attention.self.key", width, width);
        layer.value = read.matrix(name + "attention.self.value", width, width);
        layer.attended = read.matrix(name + "attention.output.dense", width, width);
        layer.attendedNorm = norm(name + "attention.output.LayerNorm");
        layer.wide = read.matrix(name + "intermediate.dense", wideWidth, width);
        layer.narrow = read.matrix(name + "output.dense", width, wideWidth);
        layer.narrowNorm = norm(name + "output.LayerNorm");
        model.layers_.push_back(std::move(layer));
    }
    if (!read.complete) {
        return std::nullopt;
    }
    return model;
}

std::vector<float> MiniLm::vectorOf(std::span<const std::int32_t> pieces) const {
    const std::size_t count = pieces.size();
    std::vector<float> state(count * width);
    for (std::size_t t = 0; t < count; ++t) {
        const float* word = &words_[static_cast<std::size_t>(pieces[t]) * width];
        for (std::size_t i = 0; i < width; ++i) {
            state[t * width + i] = word[i] + positions_[t * width + i] + types_[i];
        }
    }
    inputNorm_.apply(state);
    for (const Layer& layer : layers_) {
        const auto mixed = attend(applied(layer.query, state, count), applied(layer.key, state, count),
                                  applied(layer.value, state, count), count);
        std::vector<float> attended = applied(layer.attended, mixed, count);
        addTo(attended, state);
        layer.attendedNorm.apply(attended);
        std::vector<float> wide = applied(layer.wide, attended, count);
        for (float& x : wide) {
            x = gelu(x);
        }
        state = applied(layer.narrow, wide, count);
        addTo(state, attended);
        layer.narrowNorm.apply(state);
    }
    std::vector<float> out(width, 0.0F);
    for (std::size_t t = 0; t < count; ++t) {
        for (std::size_t i = 0; i < width; ++i) {
            out[i] += state[t * width + i];
        }
    }
    double squares = 0;
    for (const float x : out) {
        squares += double{x} * double{x};
    }
    const float scale = squares > 0 ? static_cast<float>(1.0 / std::sqrt(squares)) : 0.0F;
    for (float& x : out) {
        x *= scale;
    }
    return out;
}

}  // namespace tolvik
