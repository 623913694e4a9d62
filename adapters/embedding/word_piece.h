#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tolvik {

/// Splits a text into the pieces that the model knows, as uncased BERT models do: words and single punctuation marks,
/// without case and accents, each cut greedily into the longest known pieces. Immutable; any thread.
class WordPiece {
public:
    /// `vocabulary` has one piece a line, its number being the line's; pieces that go on a word begin with "##".
    explicit WordPiece(std::string_view vocabulary);

    [[nodiscard]] std::size_t size() const { return size_; }
    /// True when the marks that every sentence needs are there.
    [[nodiscard]] bool isUsable() const { return isUsable_; }

    /// The numbers of the pieces between the marks of beginning and end, at most `limit` with these.
    [[nodiscard]] std::vector<std::int32_t> pieces(std::string_view text, std::size_t limit) const;

private:
    void appendWord(const std::u32string& word, std::vector<std::int32_t>& out) const;

    std::unordered_map<std::u32string, std::int32_t> numbers_;
    std::size_t size_ = 0;
    bool isUsable_ = false;
    std::int32_t begin_ = 0;
    std::int32_t end_ = 0;
    std::int32_t unknown_ = 0;
};

}  // namespace tolvik
