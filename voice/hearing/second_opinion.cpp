#include "voice/hearing/second_opinion.h"

#include <algorithm>

#include "base/text.h"

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
constexpr float oneWordDistance = 0.6F;
constexpr float distantAgreement = 0.55F;
constexpr double clearFitGain = 4.0;
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
    if (!isLongEnough(known)) {
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
    const std::string text = withoutPunctuation(engineText);
    const auto spoken = spokenWords(text);
    if (spoken.empty()) {
        return text;
    }
    constexpr std::size_t considered = 3;
    Judge judge(evidence, joined(spoken, " "));
    const Phones heard = pronouncer.sentence(spoken);
    std::vector<KnownSentence> candidates = grammar.nearest(heard, considered);
    const auto agreed = std::find_if(candidates.begin(), candidates.end(),
                                     [&](const KnownSentence& each) { return evidence.grammarHeard == each.spoken; });
    if (agreed != candidates.end()) {
        // Of sentences that sound nearly alike the one that both listeners heard comes first.
        if (agreed->distance - candidates.front().distance < 0.1F) {
            std::rotate(candidates.begin(), agreed, agreed + 1);
        }
    }
    for (const KnownSentence& known : candidates) {
        if (accepts(known, evidence, judge)) {
            return known.text;
        }
    }
    // The engine wrote nonsense, and what the grammar heard fits the sound far better and is not unlike it.
    if (evidence.grammarHeard) {
        const Phones meant = pronouncer.sentence(words(*evidence.grammarHeard));
        const float distance = soundDistance(heard, meant) / std::max(1.0F, soundDistance({}, meant));
        // One word alone is nearly always a command, and the engine, which lives on context, hears those worst.
        if (spoken.size() == 1 && distance <= oneWordDistance && judge.gain(*evidence.grammarHeard).value_or(-1) >= 0) {
            if (auto known = grammar.nearest(meant, 1);
                !known.empty() && known.front().task == KnownSentence::Task::none) {
                return known.front().text;
            }
        }
        if (distance <= distantAgreement && judge.gain(*evidence.grammarHeard).value_or(0) >= clearFitGain) {
            if (auto known = grammar.nearest(meant, 1); !known.empty()) {
                return known.front().text;
            }
        }
    }
    const auto isFit = [&](const std::string& mended, double loss) {
        const auto gain = judge.gain(joined(spokenWords(mended), " "));
        return evidence.fit ? gain && *gain >= -loss : loss > 0;
    };
    std::string mended = grammar.withMendedNames(text, [&](const std::string& candidate, bool wereWords) {
        return isFit(candidate, wereWords ? nameForWordsLoss : nameForNonsenseLoss);
    });
    for (CommandGrammar::Led& led : grammar.withMendedLead(mended)) {
        if (isFit(led.text, led.distance < nearLead ? nearLeadLoss : -farLeadGain)) {
            return led.text;
        }
    }
    return mended;
}

}  // namespace tolvik
