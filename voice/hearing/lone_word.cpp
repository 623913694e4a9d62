#include "voice/hearing/lone_word.h"

#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <set>

#include "base/text.h"
#include "voice/hearing/command_phrases.h"

namespace tolvik {
namespace {

// Tuned on the tuning words (bench/speech); gains and fits in units a frame, distances relative to the command.
/// The least gain over other words at which a command is taken that the engine wrote once, twice or more often.
constexpr std::array<double, 3> gainByVotes = {-2.4, -3.0, -6.0};
/// The same for once and twice where it wrote another word twice.
constexpr std::array<double, 2> gainOverRepeated = {1.0, 0.0};
/// A word written so often stands.
constexpr int certain = 3;
/// Where the engine never wrote the command, which then must sound like one of its texts.
constexpr double unwrittenGain = -0.3;
constexpr double unwrittenGainOverRepeated = 0.7;
constexpr float likeSounding = 0.8F;
/// A fit so much better that the likeness of sound does not count.
constexpr double clearGain = 4.0;
constexpr double leastFit = -18.0;
constexpr double leastFitUnheard = -17.0;
/// So alike that the grammar need not have heard it, if no other command fits as well.
constexpr float nearlySame = 0.3F;
constexpr double noFit = -99.0;

const std::vector<std::string>& commands() {
    static const std::vector<std::string> found = [] {
        std::vector<std::string> made;
        for (const CommandPhrase& phrase : commandPhrases()) {
            if (!phrase.takesTask && isCommandOfOneWord(phrase.lead)) {
                made.push_back(phrase.lead);
            }
        }
        return made;
    }();
    return found;
}

/// Compares what the engine wrote with the commands.
class Words {
public:
    Words(const WordEvidence& evidence, const Pronouncer& pronouncer) : evidence_(evidence), pronouncer_(pronouncer) {
        for (const std::string& each : evidence.tries) {
            if (!each.empty()) {
                ++written_[withoutArticle(each)];
            }
        }
    }

    double fitOf(const std::string& spoken) {
        const auto known = fits_.find(spoken);
        if (known != fits_.end()) {
            return known->second;
        }
        return fits_[spoken] = evidence_.fit(spoken).value_or(noFit);
    }

    /// How often the engine wrote the command, or what cannot be told from it by ear.
    int votesFor(const std::string& command) const {
        int votes = 0;
        for (const auto& [text, times] : written_) {
            votes += isSame(text, command) ? times : 0;
        }
        return votes;
    }

    /// The command's fit against the best one of other texts; large when there are none. What is no word is no better
    /// account of a sound that was once taken for the command.
    double gainOf(const std::string& command, bool onlyRealWords) {
        double other = noFit;
        for (const auto& [text, times] : written_) {
            if (!isSame(text, command) && (!onlyRealWords || isReal(text))) {
                other = std::max(other, fitOf(text));
            }
        }
        return fitOf(command) - other;
    }

    /// How often the engine wrote one other word.
    int timesOfAnother(const std::string& command) const {
        int most = 0;
        for (const auto& [text, times] : written_) {
            if (text.find(' ') == std::string::npos && !isSame(text, command)) {
                most = std::max(most, times);
            }
        }
        return most;
    }

    float distanceTo(const std::string& command) const {
        const Phones meant = pronouncer_.sentence({command});
        float least = std::numeric_limits<float>::max();
        for (const auto& [text, times] : written_) {
            least = std::min(least, soundDistance(pronouncer_.sentence(words(text)), meant) /
                                        std::max(1.0F, soundDistance({}, meant)));
        }
        return least;
    }

    /// The grammar heard that command, alone or with a word more that changes nothing ("stop it").
    bool grammarAgrees(const std::string& command) const {
        const auto heard = evidence_.grammarHeard ? words(*evidence_.grammarHeard) : std::vector<std::string>();
        return !heard.empty() && heard.size() <= 2 && heard.front() == command;
    }

    bool fitsBestOfCommands(const std::string& command) {
        return std::ranges::all_of(commands(), [&](const std::string& each) { return fitOf(each) <= fitOf(command); });
    }

    bool accepts(const std::string& command) {
        const int votes = votesFor(command);
        const int another = timesOfAnother(command);
        if (another >= certain) {
            return false;
        }
        if (votes > 0) {
            const auto place = static_cast<std::size_t>(std::min(votes, certain) - 1);
            const bool isDisputed = another > 1 && place < gainOverRepeated.size();
            return gainOf(command, true) >= (isDisputed ? gainOverRepeated.at(place) : gainByVotes.at(place));
        }
        const bool agrees = grammarAgrees(command);
        if (written_.empty()) {
            return agrees && fitOf(command) >= leastFitUnheard;
        }
        const float distance = distanceTo(command);
        if (!agrees && (distance > nearlySame || !fitsBestOfCommands(command))) {
            return false;
        }
        const double gain = gainOf(command, false);
        return fitOf(command) >= leastFit && (distance <= likeSounding || gain >= clearGain) &&
               gain >= (another > 1 ? unwrittenGainOverRepeated : unwrittenGain);
    }

private:
    bool isReal(const std::string& text) const {
        return std::ranges::all_of(words(text), [&](const std::string& word) { return pronouncer_.isKnown(word); });
    }

    static std::string withoutArticle(const std::string& spoken) {
        const auto all = words(spoken);
        const bool has = all.size() == 2 && (all.front() == "a" || all.front() == "the");
        return has ? all.back() : spoken;
    }

    bool isSame(const std::string& text, const std::string& command) const {
        return text == command || pronouncer_.sentence(words(text)) == pronouncer_.sentence({command});
    }

    const WordEvidence& evidence_;
    const Pronouncer& pronouncer_;
    std::map<std::string, int> written_;
    std::map<std::string, double> fits_;
};

}  // namespace

bool isCommandOfOneWord(const std::string& word) {
    static const std::set<std::string> lone = [] {
        std::set<std::string> found;
        for (const CommandPhrase& phrase : commandPhrases()) {
            if (!phrase.takesTask && phrase.lead != "last" && phrase.lead != "previous" &&
                spokenWords(phrase.lead).size() == 1) {
                found.insert(phrase.lead);
            }
        }
        return found;
    }();
    return lone.contains(word);
}

std::optional<std::string> commandOfOneWord(const WordEvidence& evidence, const Pronouncer& pronouncer) {
    Words words(evidence, pronouncer);
    std::optional<std::string> best;
    std::pair<int, double> bestScore;
    for (const std::string& command : commands()) {
        if (!words.accepts(command)) {
            continue;
        }
        const std::pair score{words.votesFor(command), words.fitOf(command)};
        if (!best || score > bestScore) {
            best = command;
            bestScore = score;
        }
    }
    return best;
}

std::string otherThanCommand(const WordEvidence& evidence, const Pronouncer& pronouncer) {
    Words words(evidence, pronouncer);
    std::string best;
    for (const std::string& text : evidence.tries) {
        if (!text.empty() && !isCommandOfOneWord(text) && (best.empty() || words.fitOf(text) > words.fitOf(best))) {
            best = text;
        }
    }
    return best;
}

}  // namespace tolvik
