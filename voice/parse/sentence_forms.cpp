#include "voice/parse/sentence_forms.h"

#include <algorithm>
#include <unordered_set>

#include "base/text.h"
#include "voice/parse/edit_distance.h"
#include "voice/parse/phrase_tables.h"

namespace tolvik {
namespace {

bool contains(std::span<const std::string_view> table, std::string_view word) {
    return std::ranges::find(table, word) != table.end();
}

std::string_view trimmedRight(std::string_view text) {
    while (text.ends_with(' ')) {
        text.remove_suffix(1);
    }
    return text;
}

std::string_view cutPunctuation(std::string_view text) {
    while (!text.empty() && std::string_view(".,?!;:").contains(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

std::string withPlainApostrophes(std::string text) {
    constexpr std::string_view typographic = "\u2019";
    for (std::size_t at = text.find(typographic); at != std::string::npos; at = text.find(typographic, at)) {
        text.replace(at, typographic.size(), "'");
    }
    return text;
}

/// A spelling that a misheard word may stand for.
struct TitleWord {
    std::string text;
    std::u32string characters;
};

constexpr std::size_t shortestCorrected = 3;

std::vector<TitleWord> titleWords(const std::vector<TaskInfo>& tasks) {
    std::vector<TitleWord> out;
    std::unordered_set<std::string> seen;
    for (const TaskInfo& task : tasks) {
        for (std::string& word : words(comparableTitle(task.title))) {
            if (!seen.insert(word).second) {
                continue;
            }
            std::u32string spelled = characters(word);
            if (spelled.size() >= shortestCorrected) {
                out.push_back({std::move(word), std::move(spelled)});
            }
        }
    }
    return out;
}

/// The nearest acceptable title word, the earlier among equals; null when the word stays.
const TitleWord* correction(const std::u32string& word, const std::vector<TitleWord>& candidates) {
    constexpr std::size_t longWord = 5;
    const TitleWord* best = nullptr;
    std::size_t bestDistance = 3;
    for (const TitleWord& candidate : candidates) {
        const std::size_t a = word.size();
        const std::size_t b = candidate.characters.size();
        if ((a > b ? a - b : b - a) >= bestDistance) {
            continue;
        }
        const std::size_t distance = editDistance(word, candidate.characters);
        if (distance == 0) {
            return nullptr;
        }
        if (distance < bestDistance && distance <= (b >= longWord ? 2U : 1U)) {
            best = &candidate;
            bestDistance = distance;
        }
    }
    return best;
}

}  // namespace

std::string comparableTitle(std::string_view title) {
    return withPlainApostrophes(lowerCased(title));
}

std::string normalised(std::string_view sentence) {
    const std::vector<std::string> all = words(comparableTitle(toValidUtf8(sentence)));
    std::vector<std::string> kept;
    for (std::size_t i = 0; i < all.size(); ++i) {
        // "um, start": the comma goes with the filler, but a word that is nothing else stays.
        if (contains(phrases::spokenFillers, cutPunctuation(all[i]))) {
            continue;
        }
        if (i + 1 < all.size() &&
            contains(phrases::spokenFillers, all[i] + ' ' + std::string(cutPunctuation(all[i + 1])))) {
            ++i;
            continue;
        }
        kept.push_back(all[i]);
    }
    return joined(kept, " ");
}

std::string withoutTrailingPunctuation(std::string_view text) {
    return std::string(cutPunctuation(text));
}

std::string withoutTrailingFillers(std::string_view text) {
    for (bool cut = true; cut;) {
        cut = false;
        for (const std::string_view filler : phrases::trailingFillers) {
            if (text.ends_with(filler)) {
                text = cutPunctuation(trimmedRight(text.substr(0, text.size() - filler.size())));
                cut = true;
            }
        }
    }
    return std::string(text);
}

std::string_view withoutReferencePrefix(std::string_view text) {
    for (const std::string_view prefix : phrases::referencePrefixes) {
        if (text.starts_with(prefix)) {
            return text.substr(prefix.size());
        }
    }
    return text;
}

std::string_view withoutArticle(std::string_view text) {
    for (const std::string_view article : phrases::leadingArticles) {
        if (text.starts_with(article)) {
            return text.substr(article.size());
        }
    }
    return text;
}

bool isEmptyReference(std::string_view text) {
    const std::vector<std::string> all = words(text);
    return std::ranges::all_of(all, [](const std::string& word) { return contains(phrases::emptyReferences, word); });
}

std::string correctedTowards(const std::vector<TaskInfo>& tasks, std::string_view sentence) {
    std::vector<std::string> all = words(sentence);
    if (tasks.empty() || all.size() > correctionLimit) {
        return std::string(sentence);
    }
    const std::vector<TitleWord> candidates = titleWords(tasks);
    for (std::string& word : all) {
        if (contains(phrases::commandVocabulary, word)) {
            continue;
        }
        const std::u32string spelled = characters(word);
        if (spelled.size() < shortestCorrected) {
            continue;
        }
        if (const TitleWord* better = correction(spelled, candidates)) {
            word = better->text;
        }
    }
    return joined(all, " ");
}

}  // namespace tolvik
