#include "voice/parse/sentence_vectors.h"

#include <algorithm>
#include <cmath>

#include "voice/parse/phrase_tables.h"

namespace tolvik {

SentenceVectors::Vector SentenceVectors::of(std::string_view text) {
    if (embedder_ == nullptr || text.empty()) {
        return nullptr;
    }
    const std::lock_guard lock(mutex_);
    std::string key(text);
    if (const auto found = cache_.find(key); found != cache_.end()) {
        return found->second;
    }
    auto vector = embedder_->embed(text);
    if (!vector) {
        return nullptr;
    }
    if (cache_.size() >= capacity) {
        cache_.clear();
    }
    return cache_.emplace(std::move(key), std::make_shared<const std::vector<float>>(std::move(*vector))).first->second;
}

const std::vector<SentenceVectors::Anchor>& SentenceVectors::anchors() {
    std::call_once(anchorsOnce_, [this] {
        for (const phrases::Anchors& group : phrases::anchors) {
            for (const std::string_view sentence : group.sentences) {
                // Not through `of`: these are never forgotten.
                const std::lock_guard lock(mutex_);
                auto vector = embedder_ != nullptr ? embedder_->embed(sentence) : std::nullopt;
                if (vector) {
                    anchors_.push_back(
                        {group.intent, sentence, std::make_shared<const std::vector<float>>(std::move(*vector))});
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
