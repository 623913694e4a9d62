#pragma once

#include <functional>
#include <optional>
#include <span>
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
    /// A stretch of a text that sounds like a name.
    struct NamePlace {
        float distance = 0;      ///< 0 for the same sounds, about 1 for others
        bool wereWords = false;  ///< it is made of words that the dictionary knows, and so may have been meant
        bool isFirst = false;    ///< the text begins with it, where commands have their first word
    };
    /// Asked before a stretch is replaced by a name: how good the whole text would be then, none to leave it.
    using ScoreName = std::function<std::optional<double>(const std::string& mended, const NamePlace& place)>;
    /// `text` with stretches that sound like a name, or like a title's word that no dictionary has, replaced by it; of
    /// several names for a stretch the one with the best score. Asks for the few likeliest only.
    [[nodiscard]] std::string withMendedNames(std::string_view text, const ScoreName& score) const;

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
    struct Stretch {
        std::size_t begin = 0;
        std::size_t end = 0;
        float distance = 0;
    };
    /// A word of a text; one that is a name already is left alone.
    struct Word {
        std::string text;
        bool isName = false;
    };
    [[nodiscard]] Stretch likest(const Part& name, const std::vector<Word>& all) const;
    [[nodiscard]] static std::string textOf(std::span<const Word> all);

    const Pronouncer& pronouncer_;
    std::vector<Part> sentences_;   ///< without a task
    std::vector<Part> leads_;       ///< before a task
    std::vector<Part> tails_;       ///< after a task; the first is empty
    std::vector<Part> references_;  ///< tasks, whole and in part
    std::vector<Part> names_;
};

}  // namespace tolvik
