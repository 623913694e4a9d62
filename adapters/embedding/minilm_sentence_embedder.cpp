#include "adapters/embedding/minilm_sentence_embedder.h"

#include <fstream>
#include <iterator>
#include <string>
#include <utility>

#include "adapters/embedding/mapped_file.h"
#include "adapters/embedding/minilm.h"
#include "adapters/embedding/safetensors.h"
#include "adapters/embedding/word_piece.h"

namespace tolvik {

struct MiniLmSentenceEmbedder::Model {
    MappedFile file;
    WordPiece words;
    MiniLm net;

    static std::unique_ptr<const Model> load(const std::filesystem::path& folder) {
        auto file = MappedFile::open(folder / "model.safetensors");
        if (!file) {
            return nullptr;
        }
        const auto tensors = Safetensors::read(file->bytes());
        std::ifstream in(folder / "vocab.txt", std::ios::binary);
        WordPiece words(std::string(std::istreambuf_iterator<char>(in), {}));
        if (!tensors || !words.isUsable()) {
            return nullptr;
        }
        auto net = MiniLm::load(*tensors, words.size());
        if (!net) {
            return nullptr;
        }
        // The layers were copied; of the table of words only the rows that are met come back.
        file->release();
        return std::unique_ptr<const Model>(new Model{*std::move(file), std::move(words), *std::move(net)});
    }
};

MiniLmSentenceEmbedder::MiniLmSentenceEmbedder(std::filesystem::path folder) : folder_(std::move(folder)) {}
MiniLmSentenceEmbedder::~MiniLmSentenceEmbedder() = default;

std::optional<std::vector<float>> MiniLmSentenceEmbedder::embed(std::string_view sentence) {
    const std::lock_guard lock(mutex_);
    if (!std::exchange(tried_, true)) {
        model_ = Model::load(folder_);
    }
    if (!model_) {
        return std::nullopt;
    }
    const auto pieces = model_->words.pieces(sentence, MiniLm::longestSentence);
    constexpr std::size_t onlyMarks = 2;
    if (pieces.size() <= onlyMarks) {
        return std::nullopt;
    }
    return model_->net.vectorOf(pieces);
}

}  // namespace tolvik
