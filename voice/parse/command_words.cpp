#include "voice/parse/command_words.h"

#include <algorithm>
#include <array>
#include <optional>

#include "base/text.h"
#include "voice/parse/phrase_tables.h"
#include "voice/parse/sentence_forms.h"

namespace tolvik {
namespace {

/// Switch sentences that are about a position and carry no words before a title.
constexpr std::array<std::string_view, 4> positionRows{"previous task", "last task", "first task",
                                                       "^(the )?(one|task) "};

struct SwitchRow {
    Pattern pattern;
    bool namesPosition;
    bool isPrevious;
};

const std::vector<SwitchRow>& switchRows() {
    static const std::vector<SwitchRow> rows = [] {
        std::vector<SwitchRow> out;
        for (const std::string_view row : phrases::switchPatterns) {
            const bool namesPosition =
                std::ranges::any_of(positionRows, [&](std::string_view position) { return row.starts_with(position); });
            out.push_back({Pattern(row), namesPosition, row.starts_with(positionRows.back())});
        }
        return out;
    }();
    return rows;
}

std::optional<std::string> switchRemainder(std::string_view sentence) {
    // Asked first, as its row takes the whole sentence, and loses its end where that is a trailing filler.
    static const Pattern insteadRow(R"(^do(?:ing)? (.*?)(?: instead| now)*$)");
    if (const auto found = insteadRow.find(sentence)) {
        return found->groups[1];
    }
    for (const SwitchRow& row : switchRows()) {
        const auto found = row.pattern.find(sentence);
        if (!found) {
            continue;
        }
        if (row.isPrevious) {
            return std::string(phrases::previousTask.front());
        }
        return row.namesPosition ? found->groups[0] : std::string(sentence.substr(found->end));
    }
    return std::nullopt;
}

std::optional<std::string> doneRemainder(std::string_view sentence) {
    static const Pattern marked(R"(^mark (.*?)(?: as)? done\b)");
    static const Pattern framed(
        R"(^(?:that'?s a wrap|(?:knock(?:ed|ing)?|clos(?:e|ing)) out|check(?:ed|ing)? off|wrap(?:ping)? up|finalize|ship(?:ped|ping)?|finish(?:ed)?)\b)");
    if (const auto found = marked.find(sentence)) {
        return found->groups[1];
    }
    if (const auto found = framed.find(sentence)) {
        return std::string(sentence.substr(found->end));
    }
    return std::nullopt;
}

}  // namespace

std::vector<std::string> framedReferences(std::string_view intent, std::string_view sentence) {
    static const Pattern joint(
        R"(^\s*(?:where (?:i|we) left off\b\s*)?(?:(?:back|over|to|on|onto|with|up|in)\s+|(?:back|over|up)$)*(?:(?:the|a|an|my|our|that|this)\s+)?)");
    static const Pattern noun(R"(\s+(?:task|one)$)");
    std::vector<std::string> out;
    // Nobody says more in a breath, and some of the patterns take quadratic time.
    constexpr std::size_t longestSpoken = 1000;
    if (sentence.size() > longestSpoken) {
        return out;
    }
    const auto remainder = intent == "switch" ? switchRemainder(sentence)
                           : intent == "done" ? doneRemainder(sentence)
                                              : std::optional(newTaskTitle(sentence));
    const auto add = [&](std::string_view text) {
        std::string reference = trimmed(joint.replacedAll(text, ""));
        const std::string bare = noun.replacedAll(reference, "");
        const bool hasNoun = bare != reference;
        out.push_back(std::move(reference));
        if (hasNoun) {
            out.push_back(bare);
        }
    };
    if (remainder) {
        add(*remainder);
    }
    if (const std::string_view prefixed = withoutReferencePrefix(sentence); prefixed.size() < sentence.size()) {
        add(prefixed);
    }
    return out;
}

std::string newTaskTitle(std::string_view sentence) {
    static const Pattern frame(
        R"(^(?:(?:starting|beginning|let me start|let'?s (?:start|begin)|gonna (?:start|begin)|going to start)\s+(?:(?:working )?on\s+)?|(?:adding|creating|opening(?: a new)?|let'?s (?:do|kick off)|kicking off|spin(?:ning)? up|fir(?:e|ing) (?:it )?up|gonna (?:do|work on)|going to work on)\s+|(?:gonna|going to)\s+(?=tackle\b)))");
    static const Pattern announced(R"(^(?:new )?(?:task|one) (?:called|named|titled)\s+|^new task (?:for )?)");
    std::string_view rest = withoutReferencePrefix(sentence);
    std::string framed;
    if (rest.size() == sentence.size()) {
        framed = frame.replacedAll(sentence, "");
        rest = framed;
    }
    rest = withoutArticle(rest);
    const std::string title = announced.replacedAll(rest, "");
    if (title.size() < rest.size() && !title.empty()) {
        return std::string(withoutArticle(title));
    }
    return rest.empty() ? std::string(sentence) : std::string(rest);
}

}  // namespace tolvik
