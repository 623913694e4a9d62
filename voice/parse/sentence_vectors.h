#pragma once

#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "voice/parse/sentence_embedder.h"

namespace tolvik {

/// Vectors of sentences and titles, kept so that a text is embedded once. Any thread.
class SentenceVectors {
public:
    using Vector = std::shared_ptr<const std::vector<float>>;
    /// When so many titles are held, all are forgotten before the next is kept.
    static constexpr std::size_t capacity = 512;
    /// Sentences that are remembered: a live preview asks for the same ones again and again.
    static constexpr std::size_t recentCapacity = 8;

    /// `embedder` may be null: then no text has a vector.
    explicit SentenceVectors(SentenceEmbedder* embedder) : embedder_(embedder) {}

    /// A title's vector, kept; null when there is none.
    [[nodiscard]] Vector ofTitle(std::string_view title);
    /// The vector of something said, which the next ones replace; null when there is none.
    [[nodiscard]] Vector ofSentence(std::string_view sentence);

    struct Anchor {
        std::string_view intent;
        std::string_view sentence;
        Vector vector;
    };
    /// The anchors that have a vector, in table order; computed at the first call.
    [[nodiscard]] const std::vector<Anchor>& anchors();

private:
    [[nodiscard]] Vector embedded(std::string_view text);

    SentenceEmbedder* embedder_;
    std::mutex mutex_;
    std::unordered_map<std::string, Vector> titles_;
    std::deque<std::pair<std::string, Vector>> recent_;
    std::once_flag anchorsOnce_;
    std::vector<Anchor> anchors_;
};

/// From 0 (also for opposed directions, and for lengths that differ or are 0) to 1.
[[nodiscard]] double cosine(const std::vector<float>& a, const std::vector<float>& b);

}  // namespace tolvik
