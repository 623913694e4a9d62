#pragma once

#include <cmath>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "voice/parse/sentence_embedder.h"

namespace tolvik {

/// Every text is unlike every other, except where a test says how much alike two are.
class FakeSentenceEmbedder final : public SentenceEmbedder {
public:
    static constexpr std::size_t dimension = 256;

    [[nodiscard]] std::optional<std::vector<float>> embed(std::string_view sentence) override {
        asked.emplace_back(sentence);
        if (!available) {
            return std::nullopt;
        }
        const std::string key(sentence);
        std::vector<float> vector(dimension, 0.0F);
        double rest = 1;
        for (const auto& [other, similarity] : alike_[key]) {
            vector[axis(other)] = static_cast<float>(similarity);
            rest -= similarity * similarity;
        }
        if (rest > 0) {
            vector[axis(key)] = static_cast<float>(std::sqrt(rest));
        }
        return vector;
    }

    /// The cosine of the two becomes `similarity`; for one text the squares of its similarities stay at or below 1
    /// for the values to be exact. Before either text is first embedded.
    void alike(std::string_view text, std::string_view other, double similarity) {
        alike_[std::string(text)][std::string(other)] = similarity;
    }

    bool available = true;
    /// The texts that were asked for, in order.
    std::vector<std::string> asked;

private:
    std::size_t axis(const std::string& text) {
        return axes_.try_emplace(text, axes_.size() % dimension).first->second;
    }

    std::map<std::string, std::size_t> axes_;
    std::map<std::string, std::map<std::string, double>> alike_;
};

}  // namespace tolvik
