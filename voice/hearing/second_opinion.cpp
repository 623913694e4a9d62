#include "voice/hearing/second_opinion.h"

#include <algorithm>

#include "base/text.h"
#include "voice/hearing/command_phrases.h"

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
constexpr float unsureWordDistance = 0.6F;
constexpr double unsureWordLoss = 1.5;
constexpr double otherTextGain = 0.3;
constexpr float nearLead = 0.3F;
constexpr double nearLeadLoss = 0.7;
constexpr double farLeadGain = 0.3;
constexpr double nameForWordsLoss = 0.3;
constexpr double nameForNonsenseLoss = 4.0;

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

/// The words of a command that is said by one word alone. A place in the list is no command that a strange word should
/// become.
bool isLoneCommand(std::string_view word) {
    return word != "last" && word != "previous" && word.find(' ') == std::string_view::npos;
}

std::vector<std::string> loneCommands() {
    std::vector<std::string> found;
    for (const CommandPhrase& phrase : commandPhrases()) {
        if (!phrase.takesTask && isLoneCommand(phrase.lead)) {
            found.push_back(phrase.lead);
        }
    }
    return found;
}

class Opinion {
public:
    Opinion(const CommandGrammar& grammar, const Pronouncer& pronouncer, const SoundEvidence& evidence)
        : grammar_(grammar), pronouncer_(pronouncer), evidence_(evidence) {}

    std::string best(std::string text) {
        if (spokenWords(text).empty()) {
            return loneCommand({}).value_or(text);
        }
        if (auto known = knownSentence(text)) {
            return *known;
        }
        const std::string other = evidence_.again ? withoutPunctuation(evidence_.again()) : std::string();
        if (spokenWords(text).size() == 1) {
            if (auto command = loneCommand({text, other})) {
                return *command;
            }
        }
        if (const auto spoken = spokenWords(other); !spoken.empty() && spoken != spokenWords(text)) {
            if (auto known = knownSentence(other)) {
                return *known;
            }
            Judge judge(evidence_, joined(spokenWords(text), " "));
            if (judge.gain(joined(spoken, " ")).value_or(-100.0) >= otherTextGain) {
                text = other;
            }
        }
        return mended(text);
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

    /// The command that was said, when the engine wrote `tries` for it: nothing at all, or one word which sounds like
    /// it. One word alone is nearly always a command, and the engine, which lives on context, hears those worst. A word
    /// on which its tries agree is taken for another only when both are much alike.
    std::optional<std::string> loneCommand(const std::vector<std::string>& tries) {
        if (!evidence_.fit) {
            return std::nullopt;
        }
        static const std::vector<std::string> lone = loneCommands();
        std::vector<std::string> meant = lone;
        if (evidence_.grammarHeard && words(*evidence_.grammarHeard).size() > 1) {
            const auto known = grammar_.nearest(pronouncer_.sentence(words(*evidence_.grammarHeard)), 1);
            if (!known.empty() && known.front().task == KnownSentence::Task::none) {
                meant.push_back(known.front().spoken);
            }
        }
        const bool sure = tries.size() > 1 && spokenWords(tries.front()) == spokenWords(tries.back());
        const double written =
            tries.empty() ? loneFit : evidence_.fit(joined(spokenWords(tries.front()), " ")).value_or(-100.0);
        double bestFit = written - (tries.empty() || sure ? 0 : unsureWordLoss);
        std::optional<std::string> best;
        for (const std::string& command : meant) {
            const Phones sounds = pronouncer_.sentence(words(command));
            const bool isLike = tries.empty()
                                    ? evidence_.grammarHeard == command
                                    : std::ranges::any_of(tries, [&](const std::string& each) {
                                          return distanceOf(pronouncer_.sentence(spokenWords(each)), sounds) <=
                                                 (sure ? sureWordDistance : unsureWordDistance);
                                      });
            if (const auto fit = isLike ? evidence_.fit(command) : std::nullopt; fit && *fit >= bestFit) {
                bestFit = *fit;
                best = command;
            }
        }
        return best;
    }

    /// The text with names and first words put right.
    std::string mended(const std::string& text) {
        Judge judge(evidence_, joined(spokenWords(text), " "));
        const auto isFit = [&](const std::string& candidate, double loss) {
            const auto gain = judge.gain(joined(spokenWords(candidate), " "));
            return evidence_.fit ? gain && *gain >= -loss : loss > 0;
        };
        std::string named = grammar_.withMendedNames(text, [&](const std::string& candidate, bool wereWords) {
            return isFit(candidate, wereWords ? nameForWordsLoss : nameForNonsenseLoss);
        });
        for (CommandGrammar::Led& led : grammar_.withMendedLead(named)) {
            if (isFit(led.text, led.distance < nearLead ? nearLeadLoss : -farLeadGain)) {
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
