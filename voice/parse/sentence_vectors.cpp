#include "voice/parse/sentence_vectors.h"

#include <algorithm>
#include <cmath>

#include "voice/parse/phrase_tables.h"

namespace tolvik {

SentenceVectors::Vector SentenceVectors::embedded(std::string_view text) {
    auto vector = embedder_ != nullptr && !text.empty() ? embedder_->embed(text) : std::nullopt;
    return vector ? std::make_shared<const std::vector<float>>(std::move(*vector)) : nullptr;
}

SentenceVectors::Vector SentenceVectors::ofTitle(std::string_view title) {
    const std::lock_guard lock(mutex_);
    std::string key(title);
    if (const auto found = titles_.find(key); found != titles_.end()) {
        return found->second;
    }
    Vector vector = embedded(title);
    if (vector) {
        if (titles_.size() >= capacity) {
            titles_.clear();
        }
        titles_.emplace(std::move(key), vector);
    }
    return vector;
}

SentenceVectors::Vector SentenceVectors::ofSentence(std::string_view sentence) {
    const std::lock_guard lock(mutex_);
    const auto found = std::ranges::find(recent_, sentence, &std::pair<std::string, Vector>::first);
    if (found != recent_.end()) {
        return found->second;
    }
    Vector vector = embedded(sentence);
    if (vector) {
        recent_.emplace_back(sentence, vector);
        if (recent_.size() > recentCapacity) {
            recent_.pop_front();
        }
    }
    return vector;
}

const std::vector<SentenceVectors::Anchor>& SentenceVectors::anchors() {
    std::call_once(anchorsOnce_, [this] {
        for (const phrases::Anchors& group : phrases::anchors) {
            for (const std::string_view sentence : group.sentences) {
                const std::lock_guard lock(mutex_);
                if (Vector vector = embedded(sentence)) {
                    anchors_.push_back({group.intent, sentence, std::move(vector)});
                }
            }
        }
    });
    return anchors_;
}

double cosine(const std::vector<float>& a, const std::vector<float>& b) {
    if (a.size() != b.size()) {
        return 0;
    }
    double dot = 0;
    double aa = 0;
    double bb = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        dot += double{a[i]} * double{b[i]};
        aa += double{a[i]} * double{a[i]};
        bb += double{b[i]} * double{b[i]};
    }
    const double norms = aa * bb;
    return norms > 0 && dot > 0 ? std::min(1.0, dot / std::sqrt(norms)) : 0;
}

}  // namespace tolvik
