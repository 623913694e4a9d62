#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "voice/parse/sentence_embedder.h"

namespace tolvik {

/// Vectors of sentences and titles, kept so that a text is embedded once. Any thread.
class SentenceVectors {
public:
    using Vector = std::shared_ptr<const std::vector<float>>;
    /// When so many are held, all are forgotten before the next is kept.
    static constexpr std::size_t capacity = 512;

    /// `embedder` may be null: then no text has a vector.
    explicit SentenceVectors(SentenceEmbedder* embedder) : embedder_(embedder) {}

    /// Null when there is none.
    [[nodiscard]] Vector of(std::string_view text);

    struct Anchor {
        std::string_view intent;
        std::string_view sentence;
        Vector vector;
    };
    /// The anchors that have a vector, in table order; computed at the first call.
    [[nodiscard]] const std::vector<Anchor>& anchors();

private:
    SentenceEmbedder* embedder_;
    std::mutex mutex_;
    std::unordered_map<std::string, Vector> cache_;
    std::once_flag anchorsOnce_;
    std::vector<Anchor> anchors_;
};

/// From 0 (also for opposed directions, and for lengths that differ or are 0) to 1.
[[nodiscard]] double cosine(const std::vector<float>& a, const std::vector<float>& b);

}  // namespace tolvik
