#include "voice/hearing/second_opinion.h"

#include <algorithm>
#include <iterator>

#include "base/text.h"
#include "voice/hearing/lone_word.h"

namespace tolvik {
namespace {

// Tuned on the tuning clips (bench/speech); distances as in KnownSentence, fits in units a frame.
constexpr float sureDistance = 0.10F;
constexpr float sureTaskDistance = 0.2F;
constexpr float closeAgreedDistance = 0.2F;
constexpr float closeAgreedTaskDistance = 0.3F;
constexpr float agreedDistance = 0.36F;
constexpr float agreedTaskDistance = 0.45F;
constexpr float plausibleDistance = 0.28F;
constexpr float plausibleTaskDistance = 0.4F;
constexpr double agreedFitLoss = 2.0;
constexpr float distantAgreement = 0.55F;
constexpr double clearFitGain = 4.0;
constexpr double loneFit = -25.5;
constexpr float sureWordDistance = 0.4F;
constexpr float unsureWordDistance = 0.9F;
constexpr double unsureWordLoss = 0.6;
constexpr float severalWordsDistance = 0.55F;
constexpr std::size_t mostWordsForOne = 3;
constexpr double otherWordGain = 1.0;
constexpr double otherTextGain = 0.3;
constexpr float nearLead = 0.3F;
constexpr float nearLeadUnheard = 0.25F;
constexpr double nearLeadLoss = 0.7;
constexpr double farLeadGain = 0.3;
constexpr float nearName = 0.34F;
constexpr float farNameForWords = 0.45F;
constexpr double nameForWordsGain = -1.5;
constexpr double gainByDistance = 4.0;
constexpr double nameForNonsenseLoss = 3.0;

/// A title of one short word has few sounds: a likeness of a third of it is no likeness.
bool isLongEnough(const KnownSentence& sentence) {
    return sentence.spoken.size() >= 4;
}

class Judge {
public:
    Judge(const SoundEvidence& evidence, std::string heard) : evidence_(evidence), heard_(std::move(heard)) {}

    /// By how much `spoken` fits the sound better than the engine's words do; none when it cannot be told.
    std::optional<double> gain(const std::string& spoken) {
        if (!evidence_.fit) {
            return std::nullopt;
        }
        if (!heardFit_) {
            heardFit_ = evidence_.fit(heard_).value_or(-100.0);
        }
        const auto fit = evidence_.fit(spoken);
        return fit ? std::optional(*fit - *heardFit_) : std::nullopt;
    }

private:
    const SoundEvidence& evidence_;
    std::string heard_;
    std::optional<double> heardFit_;
};

bool accepts(const KnownSentence& known, const SoundEvidence& evidence, Judge& judge) {
    if (known.distance <= sureDistance && known.taskDistance <= sureTaskDistance) {
        return true;
    }
    // A word alone is weighed as a lone command, where more is asked.
    const bool isLone = known.task == KnownSentence::Task::none && known.spoken.find(' ') == std::string::npos;
    if (!isLongEnough(known) || isLone) {
        return false;
    }
    const bool agreed = evidence.grammarHeard == known.spoken;
    if (agreed && known.distance <= closeAgreedDistance && known.taskDistance <= closeAgreedTaskDistance) {
        return true;
    }
    if (agreed && known.distance <= agreedDistance && known.taskDistance <= agreedTaskDistance) {
        return judge.gain(known.spoken).value_or(-100.0) >= -agreedFitLoss;
    }
    if (known.distance <= plausibleDistance && known.taskDistance <= plausibleTaskDistance) {
        return judge.gain(known.spoken).value_or(-100.0) >= 0.0;
    }
    return false;
}

class Opinion {
public:
    Opinion(const CommandGrammar& grammar, const Pronouncer& pronouncer, const SoundEvidence& evidence)
        : grammar_(grammar), pronouncer_(pronouncer), evidence_(evidence) {}

    std::string best(const std::string& text) {
        if (evidence_.oneWord && isCommandAlone(text)) {
            return oneWord(text).value_or(text);
        }
        if (evidence_.fit && isCommandAlone(text) && !grammarAgrees(joined(spokenWords(text), " "))) {
            return surerWord(text);
        }
        if (!spokenWords(text).empty()) {
            if (auto known = knownSentence(text); known && !needsMore(*known)) {
                return *known;
            }
        }
        if (evidence_.oneWord && spokenWords(text).size() <= mostWordsForOne) {
            if (auto word = oneWord(text)) {
                return *word;
            }
        }
        std::string other = evidence_.again ? withoutPunctuation(evidence_.again()) : std::string();
        if (auto command = loneCommand(text, other)) {
            return *command;
        }
        if (needsMore(other)) {
            other.clear();
        }
        const auto spoken = spokenWords(other);
        if (spoken.empty() || spoken == spokenWords(text)) {
            return mended(text);
        }
        if (auto known = knownSentence(other); known && !needsMore(*known)) {
            return *known;
        }
        if (spokenWords(text).empty()) {
            return mended(other);
        }
        // Both tries are put right before they are compared: a name may be in one of them only.
        const std::string one = mended(text);
        const std::string two = mended(other);
        Judge judge(evidence_, joined(spokenWords(one), " "));
        return judge.gain(joined(spokenWords(two), " ")).value_or(-100.0) >= otherTextGain ? two : one;
    }

private:
    /// The sentence about the user's tasks that `text` stands for; none when it is something else.
    std::optional<std::string> knownSentence(const std::string& text) {
        constexpr std::size_t considered = 3;
        const auto spoken = spokenWords(text);
        Judge judge(evidence_, joined(spoken, " "));
        const Phones heard = pronouncer_.sentence(spoken);
        std::vector<KnownSentence> candidates = grammar_.nearest(heard, considered);
        const auto agreed = std::find_if(candidates.begin(), candidates.end(), [&](const KnownSentence& each) {
            return evidence_.grammarHeard == each.spoken;
        });
        if (agreed != candidates.end()) {
            // Of sentences that sound nearly alike the one that both listeners heard comes first.
            if (agreed->distance - candidates.front().distance < 0.1F) {
                std::rotate(candidates.begin(), agreed, agreed + 1);
            }
        }
        for (const KnownSentence& known : candidates) {
            if (accepts(known, evidence_, judge)) {
                return known.text;
            }
        }
        // The engine wrote nonsense, and what the grammar heard fits the sound far better and is not unlike it.
        if (evidence_.grammarHeard) {
            const Phones meant = pronouncer_.sentence(words(*evidence_.grammarHeard));
            if (distanceOf(heard, meant) <= distantAgreement &&
                judge.gain(*evidence_.grammarHeard).value_or(0) >= clearFitGain) {
                if (auto known = grammar_.nearest(meant, 1); !known.empty()) {
                    return known.front().text;
                }
            }
        }
        return std::nullopt;
    }

    static bool isCommandAlone(const std::string& text) { return isCommandOfOneWord(joined(spokenWords(text), " ")); }

    /// A command of one word, which a single try does not settle where more can be asked.
    bool needsMore(const std::string& text) const { return evidence_.oneWord && isCommandAlone(text); }

    /// The command of one word that was said, or the word that stands in its place where the engine wrote a command
    /// and that is not taken; none when the engine's text is as good as any.
    std::optional<std::string> oneWord(const std::string& text) {
        const std::vector<std::string> further = evidence_.oneWord->furtherTries();
        std::vector<std::string> written{text, evidence_.again ? withoutPunctuation(evidence_.again()) : ""};
        for (const std::string& each : further) {
            written.push_back(withoutPunctuation(each));
        }
        WordEvidence word{{}, evidence_.grammarHeard, evidence_.oneWord->fit};
        for (const std::string& each : written) {
            word.tries.push_back(joined(spokenWords(each), " "));
        }
        if (auto command = commandOfOneWord(word, pronouncer_)) {
            return command;
        }
        if (!isCommandAlone(text) && !spokenWords(text).empty()) {
            return std::nullopt;
        }
        const auto other = std::ranges::find(word.tries, otherThanCommand(word, pronouncer_));
        return other == word.tries.end() || other->empty()
                   ? std::nullopt
                   : std::optional(written.at(static_cast<std::size_t>(other - word.tries.begin())));
    }

    /// The grammar heard that command, alone or with a word more that changes nothing ("stop it").
    bool grammarAgrees(const std::string& command) const {
        const auto heard = evidence_.grammarHeard ? words(*evidence_.grammarHeard) : std::vector<std::string>();
        return !heard.empty() && heard.size() <= 2 && heard.front() == command;
    }

    /// The engine wrote a command of one word that the grammar did not hear: a second try may write another word, which
    /// fits better.
    std::string surerWord(const std::string& text) {
        const std::string other = evidence_.again ? withoutPunctuation(evidence_.again()) : std::string();
        Judge judge(evidence_, joined(spokenWords(text), " "));
        const bool isBetter = spokenWords(other).size() == 1 && spokenWords(other) != spokenWords(text) &&
                              judge.gain(joined(spokenWords(other), " ")).value_or(-100.0) >= otherWordGain;
        return isBetter ? other : text;
    }

    /// The command of one word that was said, when the engine's two tries wrote something like it, or nothing. The
    /// engine, which lives on context, hears single words worst, so the grammar must have heard the command and the
    /// sound fit it: about as well as what was written, and better where both tries wrote the same.
    std::optional<std::string> loneCommand(const std::string& text, const std::string& other) {
        std::vector<std::string> tries;
        for (const std::string& each : {text, other}) {
            if (const auto spoken = spokenWords(each); spoken.size() > mostWordsForOne) {
                return std::nullopt;
            } else if (!spoken.empty()) {
                tries.push_back(joined(spoken, " "));
            }
        }
        if (!evidence_.fit || !evidence_.grammarHeard) {
            return std::nullopt;
        }
        const bool sure = tries.size() > 1 && tries.front() == tries.back();
        const bool isOneWord = std::ranges::all_of(tries, [](auto& each) { return each.find(' ') == each.npos; });
        double leastFit = tries.empty() ? loneFit : -100.0;
        for (const std::string& each : tries) {
            leastFit =
                std::max(leastFit, evidence_.fit(each).value_or(-100.0) - (sure || !isOneWord ? 0.0 : unsureWordLoss));
        }
        const bool mayBeFar = isOneWord && !sure && !evidence_.oneWord;
        const float farthest = mayBeFar            ? unsureWordDistance
                               : isOneWord && sure ? sureWordDistance
                                                   : severalWordsDistance;
        std::optional<std::string> best;
        for (const std::string& command : commandsHeard()) {
            const Phones sounds = pronouncer_.sentence(words(command));
            const auto fit = evidence_.fit(command);
            // Where the engine wrote nothing at first, its second try is a guess that need not sound like the command.
            const bool isLike = (spokenWords(text).empty() && fit.value_or(-100.0) >= loneFit) ||
                                std::ranges::any_of(tries, [&](const std::string& each) {
                                    return distanceOf(pronouncer_.sentence(words(each)), sounds) <= farthest;
                                });
            if (isLike && fit && *fit >= leastFit) {
                leastFit = *fit;
                best = command;
            }
        }
        return best;
    }

    /// The command of one word that agrees with what the grammar heard, else what it heard when that names no task.
    std::vector<std::string> commandsHeard() const {
        std::vector<std::string> heard;
        if (const std::string first = words(*evidence_.grammarHeard).front();
            isCommandOfOneWord(first) && grammarAgrees(first)) {
            if (evidence_.oneWord) {
                return {};  // it was weighed, and was not that
            }
            heard.push_back(first);
        }
        if (heard.empty() && words(*evidence_.grammarHeard).size() > 1) {
            const auto known = grammar_.nearest(pronouncer_.sentence(words(*evidence_.grammarHeard)), 1);
            if (!known.empty() && known.front().task == KnownSentence::Task::none) {
                heard.push_back(known.front().spoken);
            }
        }
        return heard;
    }

    /// How much better the sound fits a text with a name in the place of other words; none when too little. Real words
    /// give way only to a better fit, the more so the less they sound like the name.
    static std::optional<double> scoreOf(const CommandGrammar::NamePlace& place, std::optional<double> gain) {
        if (!gain) {
            return std::nullopt;
        }
        const bool isNear = place.distance <= nearName && *gain >= 0;
        if (place.isFirst) {
            return isNear ? gain : std::nullopt;
        }
        const bool fits = place.wereWords
                              ? place.distance <= farNameForWords &&
                                    *gain >= nameForWordsGain + gainByDistance * static_cast<double>(place.distance)
                              : *gain >= -nameForNonsenseLoss;
        return fits ? gain : std::nullopt;
    }

    /// The text with names and first words put right.
    std::string mended(const std::string& text) {
        Judge judge(evidence_, joined(spokenWords(text), " "));
        const auto gainOf = [&](const std::string& candidate) {
            return judge.gain(joined(spokenWords(candidate), " "));
        };
        std::string named = grammar_.withMendedNames(
            text, [&](const std::string& candidate, const CommandGrammar::NamePlace& place) -> std::optional<double> {
                if (!evidence_.fit) {
                    return place.distance <= nearName ? std::optional(1.0 - static_cast<double>(place.distance))
                                                      : std::nullopt;
                }
                return scoreOf(place, gainOf(candidate));
            });
        for (CommandGrammar::Led& led : grammar_.withMendedLead(named)) {
            const double least = led.distance < nearLead ? -nearLeadLoss : farLeadGain;
            if (evidence_.fit ? gainOf(led.text).value_or(-100.0) >= least : led.distance < nearLeadUnheard) {
                return led.text;
            }
        }
        return named;
    }

    static float distanceOf(const Phones& heard, const Phones& meant) {
        return soundDistance(heard, meant) / std::max(1.0F, soundDistance({}, meant));
    }

    const CommandGrammar& grammar_;
    const Pronouncer& pronouncer_;
    const SoundEvidence& evidence_;
};

}  // namespace

std::string withoutPunctuation(std::string_view engineText) {
    std::string text = trimmed(engineText);
    std::erase_if(text, [](char each) { return each == '"'; });
    while (!text.empty() && std::string_view(".,?!;: ").find(text.back()) != std::string_view::npos) {
        text.pop_back();
    }
    return text;
}

std::string bestText(std::string_view engineText, const CommandGrammar& grammar, const Pronouncer& pronouncer,
                     const SoundEvidence& evidence) {
    return Opinion(grammar, pronouncer, evidence).best(withoutPunctuation(engineText));
}

}  // namespace tolvik
