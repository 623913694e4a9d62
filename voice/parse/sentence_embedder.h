#pragma once

#include <optional>
#include <string_view>
#include <vector>

namespace tolvik {

/// Turns an English sentence into a vector whose cosine tells likeness of meaning. Any thread; calls may block for
/// some milliseconds and exclude each other.
class SentenceEmbedder {
public:
    SentenceEmbedder() = default;
    SentenceEmbedder(const SentenceEmbedder&) = delete;
    SentenceEmbedder& operator=(const SentenceEmbedder&) = delete;
    virtual ~SentenceEmbedder() = default;

    /// None when the model is absent or has no vector for the text.
    [[nodiscard]] virtual std::optional<std::vector<float>> embed(std::string_view sentence) = 0;
};

}  // namespace tolvik
