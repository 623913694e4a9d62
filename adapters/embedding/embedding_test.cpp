#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>
#include <unistd.h>

#include "adapters/embedding/int8_matrix.h"
#include "adapters/embedding/minilm_sentence_embedder.h"
#include "adapters/embedding/safetensors.h"
#include "adapters/embedding/word_piece.h"

namespace tolvik {
namespace {

using ::testing::ElementsAre;
namespace fs = std::filesystem;

fs::path modelFolder() {
    const char* models = std::getenv("TOLVIK_MODELS");
    return (models != nullptr ? fs::path(models) : fs::path(MODELS_FOLDER)) / "embedding";
}

double dot(const std::vector<float>& a, const std::vector<float>& b) {
    return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

class EmbeddingModel : public ::testing::Test {
protected:
    void SetUp() override {
        if (!fs::exists(modelFolder() / "model.safetensors")) {
            GTEST_SKIP() << "no model in " << modelFolder();
        }
    }
};

// The expected numbers come from a separate implementation in double precision.
TEST_F(EmbeddingModel, GivesTheVectorsOfTheReference) {
    MiniLmSentenceEmbedder embedder(modelFolder());
    const std::array<const char*, 8> texts{"start a new task",
                                           "i'm stepping away for lunch",
                                           "take a break",
                                           "Quarterly report",
                                           "the numbers for August",
                                           "Café déjà-vu, naïve",
                                           "code review for Ana's branch",
                                           "swap over to the other task"};
    const double firsts[8][6] = {
        {-0.0317, -0.064, -0.0276, -0.0086, 0.0352, 0.0268}, {-0.0234, 0.0571, 0.0851, 0.0411, 0.1224, 0.0101},
        {-0.0434, -0.0251, 0.0545, 0.0424, 0.1135, 0.0291},  {-0.009, 0.0869, -0.0172, 0.0591, -0.0234, 0.04},
        {-0.0185, 0.0238, 0.0013, 0.0126, -0.0135, 0.0537},  {-0.0307, -0.0131, 0.0641, 0.0126, 0.0229, 0.0087},
        {-0.0334, 0.0383, -0.0625, -0.0356, -0.0129, 0.001}, {-0.0483, -0.0164, 0.0023, 0.0184, -0.0433, 0.0414}};
    const double similarities[8][8] = {{1.0, 0.2123, 0.289, -0.0017, 0.0296, 0.1141, 0.0498, 0.6643},
                                       {0.2123, 1.0, 0.4898, 0.1289, 0.1056, 0.2553, 0.0313, 0.23},
                                       {0.289, 0.4898, 1.0, 0.1091, 0.07, 0.2395, 0.0715, 0.2704},
                                       {-0.0017, 0.1289, 0.1091, 1.0, 0.3357, 0.0496, 0.2036, -0.0105},
                                       {0.0296, 0.1056, 0.07, 0.3357, 1.0, 0.0819, 0.118, -0.0334},
                                       {0.1141, 0.2553, 0.2395, 0.0496, 0.0819, 1.0, -0.0608, 0.0706},
                                       {0.0498, 0.0313, 0.0715, 0.2036, 0.118, -0.0608, 1.0, 0.1288},
                                       {0.6643, 0.23, 0.2704, -0.0105, -0.0334, 0.0706, 0.1288, 1.0}};
    std::vector<std::vector<float>> vectors;
    for (const char* text : texts) {
        const auto vector = embedder.embed(text);
        ASSERT_TRUE(vector) << text;
        vectors.push_back(*vector);
    }
    double worst = 0;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        for (std::size_t k = 0; k < 6; ++k) {
            EXPECT_NEAR(vectors[i][k], firsts[i][k], 0.004) << texts[i];
        }
        for (std::size_t j = 0; j < texts.size(); ++j) {
            const double off = std::abs(dot(vectors[i], vectors[j]) - similarities[i][j]);
            worst = std::max(worst, off);
        }
    }
    EXPECT_LT(worst, 0.01);
    RecordProperty("worstSimilarity", std::to_string(worst));
    EXPECT_FALSE(embedder.embed(""));
    EXPECT_FALSE(embedder.embed(" \n\u200b"));
    EXPECT_TRUE(embedder.embed(std::string(1 << 20, 'a') + std::string(1 << 20, '.')));
    EXPECT_TRUE(embedder.embed("\xff\xfe word"));
}

TEST_F(EmbeddingModel, IsAbsentWhereTheFilesAreNotWhole) {
    const fs::path folder = fs::temp_directory_path() / ("tolvik-embedding-" + std::to_string(::getpid()));
    fs::create_directories(folder);
    EXPECT_FALSE(MiniLmSentenceEmbedder(folder).embed("word"));
    fs::copy_file(modelFolder() / "vocab.txt", folder / "vocab.txt", fs::copy_options::overwrite_existing);
    EXPECT_FALSE(MiniLmSentenceEmbedder(folder).embed("word"));
    fs::copy_file(modelFolder() / "model.safetensors", folder / "model.safetensors",
                  fs::copy_options::overwrite_existing);
    EXPECT_TRUE(MiniLmSentenceEmbedder(folder).embed("word"));
    fs::resize_file(folder / "model.safetensors", fs::file_size(folder / "model.safetensors") - 1);
    EXPECT_FALSE(MiniLmSentenceEmbedder(folder).embed("word"));
    // A vocabulary of another model.
    fs::copy_file(modelFolder() / "model.safetensors", folder / "model.safetensors",
                  fs::copy_options::overwrite_existing);
    std::ofstream(folder / "vocab.txt", std::ios::app) << "more\n";
    EXPECT_FALSE(MiniLmSentenceEmbedder(folder).embed("word"));
    fs::remove_all(folder);
}

TEST(WordPieceTest, CutsWordsIntoTheLongestKnownPieces) {
    const WordPiece words("[UNK]\n[CLS]\n[SEP]\nun\n##know\n##n\ncafe\n,\n\u65e5\n##s\nzeb\n");
    ASSERT_TRUE(words.isUsable());
    EXPECT_THAT(words.pieces("Caf\u00e9s, unknown", 20), ElementsAre(1, 6, 9, 7, 3, 4, 5, 2));
    EXPECT_THAT(words.pieces("\u65e5un\u65e5 zebra", 20), ElementsAre(1, 8, 3, 8, 0, 2));
    EXPECT_THAT(words.pieces("un un un un", 4), ElementsAre(1, 3, 3, 2));
    EXPECT_THAT(words.pieces(std::string(101, 'u'), 20), ElementsAre(1, 0, 2));
    EXPECT_FALSE(WordPiece("").isUsable());
}

TEST(Int8MatrixTest, MultipliesWithinTheErrorOfItsSteps) {
    constexpr std::size_t rows = 5;
    constexpr std::size_t columns = 24;
    std::vector<float> weights(rows * columns);
    for (std::size_t i = 0; i < weights.size(); ++i) {
        weights[i] = static_cast<float>(static_cast<int>(i * 37 % 101) - 50) / 50.0F;
    }
    const std::vector<float> bias{0, 1, 2, 3, 4};
    const Int8Matrix matrix(weights, bias, columns);
    for (std::size_t count = 1; count <= 9; ++count) {
        std::vector<float> in(count * columns);
        for (std::size_t i = 0; i < in.size(); ++i) {
            in[i] = static_cast<float>(i % 7) - 3.0F;
        }
        std::vector<float> out(count * rows);
        matrix.apply(in.data(), count, out.data());
        for (std::size_t t = 0; t < count; ++t) {
            for (std::size_t r = 0; r < rows; ++r) {
                const float exact =
                    std::inner_product(&in[t * columns], &in[t * columns] + columns, &weights[r * columns], bias[r]);
                EXPECT_NEAR(out[t * rows + r], exact, 0.2) << count << " " << t << " " << r;
            }
        }
    }
    weights[3] = NAN;
    EXPECT_FALSE(Int8Matrix(weights, bias, columns).isFinite());
}

std::vector<std::byte> fileOf(std::string header, std::size_t data) {
    std::vector<std::byte> out(8 + header.size() + data);
    const std::uint64_t length = header.size();
    std::memcpy(out.data(), &length, 8);
    std::memcpy(out.data() + 8, header.data(), header.size());
    return out;
}

TEST(SafetensorsTest, ReadsOnlyWhatLiesInTheFile) {
    const std::array<std::size_t, 2> shape{1, 2};
    // Padded to a multiple of four, as the numbers are used where they lie.
    const auto good = fileOf(R"({"a":{"dtype":"F32","shape":[1,2],"data_offsets":[0,8]}}    )", 8);
    const auto read = Safetensors::read(good);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->floats("a", shape).size(), 2U);
    EXPECT_TRUE(read->floats("b", shape).empty());
    const std::array<std::size_t, 2> huge{SIZE_MAX / 2 + 1, 4};
    EXPECT_TRUE(read->floats("a", huge).empty());
    for (const char* header :
         {"", "[]", "{", R"({"a":{"dtype":"F32","shape":[1,2],"data_offsets":[0,9]}})",
          R"({"a":{"dtype":"F32","shape":[1,2],"data_offsets":[8,0]}})",
          R"({"a":{"dtype":"F32","shape":[1,-2],"data_offsets":[0,8]}})",
          R"({"a":{"dtype":"F32","shape":[1,2],"data_offsets":[0,18446744073709551615]}})", R"({"a":7})"}) {
        EXPECT_FALSE(Safetensors::read(fileOf(header, 8))) << header;
    }
    auto longHeader = good;
    longHeader[7] = std::byte{0x80};
    EXPECT_FALSE(Safetensors::read(longHeader));
    EXPECT_FALSE(Safetensors::read(std::span(good).first(7)));
}

}  // namespace
}  // namespace tolvik
