#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include "voice/parse/sentence_embedder.h"

namespace tolvik {

/// The embedding in a module of its own, loaded with the first sentence: most commands never need it, and its
/// libraries take longer to load than such a command runs. Without module or model it has no vectors. Any thread.
class LazyEmbedder final : public SentenceEmbedder {
public:
    LazyEmbedder(std::filesystem::path module, std::filesystem::path model);
    ~LazyEmbedder() override;

    [[nodiscard]] std::optional<std::vector<float>> embed(std::string_view sentence) override;
    /// True when the files are there; does not load them.
    [[nodiscard]] bool isPresent() const;

private:
    SentenceEmbedder* loaded();

    std::filesystem::path module_;
    std::filesystem::path model_;
    std::mutex mutex_;
    bool tried_ = false;
    std::unique_ptr<SentenceEmbedder> embedder_;
};

/// The function that the module exports under the name `kEmbeddingFactoryName`: a new embedder over the model folder,
/// or null. The caller owns it.
using EmbeddingFactory = SentenceEmbedder*(const char* modelFolder);
constexpr const char* kEmbeddingFactoryName = "tolvikMakeSentenceEmbedder";

}  // namespace tolvik
