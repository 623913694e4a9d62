#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include "voice/parse/sentence_embedder.h"

namespace tolvik {

/// Meaning by all-MiniLM-L6-v2, from a folder with `model.safetensors` and `vocab.txt`. The model is loaded with the
/// first sentence; without a whole model no sentence has a vector.
class MiniLmSentenceEmbedder final : public SentenceEmbedder {
public:
    explicit MiniLmSentenceEmbedder(std::filesystem::path folder);
    ~MiniLmSentenceEmbedder() override;

    /// 384 numbers of length 1; none for a text without a single character that counts.
    [[nodiscard]] std::optional<std::vector<float>> embed(std::string_view sentence) override;

private:
    struct Model;

    std::filesystem::path folder_;
    std::mutex mutex_;
    bool tried_ = false;
    std::unique_ptr<const Model> model_;
};

}  // namespace tolvik
