#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "voice/hearing/pronouncer.h"

namespace tolvik {

/// The user's words, as the user wrote them.
struct KnownWords {
    std::vector<std::string> titles;
    /// Project names and vocabulary terms.
    std::vector<std::string> names;
};

/// A sentence that the grammar knows, with how far it is from what was heard.
struct KnownSentence {
    /// As the parser should read it, the task as the user wrote it.
    std::string text;
    /// As it is spoken, word by word.
    std::string spoken;
    /// 0 for the same sounds; about 1 when nothing fits. Relative to the sentence's length.
    float distance = 0;
    /// The same for the task alone, relative to its own length: a long lead must not hide a strange task.
    float taskDistance = 0;
    /// The task is named whole, in part, or not at all.
    enum class Task { none, whole, part } task = Task::none;
};

/// The commands that could be said about the user's tasks. Immutable; any thread.
class CommandGrammar {
public:
    /// `pronouncer` must outlive the grammar.
    CommandGrammar(const Pronouncer& pronouncer, const KnownWords& known);

    /// The known sentences that sound most like `heard`, nearest first, at most `count`.
    [[nodiscard]] std::vector<KnownSentence> nearest(const Phones& heard, std::size_t count) const;

    /// `text` with its first words replaced by a command phrase that they sound like.
    struct Led {
        std::string text;
        float distance = 0;  ///< 0 for the same sounds, about 1 for others
    };
    /// The likeliest such texts, nearest first; none when the first words are such a phrase already.
    [[nodiscard]] std::vector<Led> withMendedLead(std::string_view text) const;
    /// Asked before a stretch is replaced by a name: the whole text then, and whether the stretch was made of words
    /// that the dictionary knows, and so may have been meant.
    using AcceptName = std::function<bool(const std::string& mended, bool wereWords)>;
    /// `text` with stretches that sound like a name, or like a title's word that no dictionary has, replaced by it.
    [[nodiscard]] std::string withMendedNames(std::string_view text, const AcceptName& accept) const;

    /// The grammar in JSGF, its words as spoken.
    [[nodiscard]] std::string jsgf() const;
    /// Every word of the grammar once, as spoken.
    [[nodiscard]] std::vector<std::string> vocabulary() const;

private:
    struct Part {
        std::string text;
        std::string spoken;
        std::vector<Phones> ways;
        float penalty = 0;
        KnownSentence::Task task = KnownSentence::Task::none;
    };
    [[nodiscard]] Part part(std::string text) const;
    [[nodiscard]] std::vector<Phones> waysToSay(const std::vector<std::string>& spoken) const;

    const Pronouncer& pronouncer_;
    std::vector<Part> sentences_;   ///< without a task
    std::vector<Part> leads_;       ///< before a task
    std::vector<Part> tails_;       ///< after a task; the first is empty
    std::vector<Part> references_;  ///< tasks, whole and in part
    std::vector<Part> names_;
};

}  // namespace tolvik
