#include "ai/answer/question.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <set>
#include <utility>

#include "ai/answer/question_forms.h"

namespace tolvik {
namespace {

constexpr std::size_t kMostWords = 40;
constexpr std::size_t kMostBytes = 1000;
constexpr std::string_view kHelp =
    "I can tell how much time went into a task or project, what you did, and which day, task or project had the most "
    "or least, how many days, averages and comparisons, for example “How much time on … last week?”, “What did I do on "
    "Tuesday?” or “Longest day this month”.";

/// A form that fits, before its names are looked up.
struct Fit {
    const QuestionForm* form = nullptr;
    std::vector<std::string> names;
    std::vector<PeriodWords> periods;
};

/// How sure a reading is, the surest first.
enum class Rank : std::uint8_t { exact, partial, near };

struct Reading {
    Rank rank = Rank::exact;
    Result<Question, std::string> question;
};

bool isOneOf(std::string_view word, std::initializer_list<std::string_view> choice) {
    return std::ranges::find(choice, word) != choice.end();
}

void stripManners(std::vector<Token>& tokens) {
    static const std::vector<std::vector<std::string_view>> openings{{"please"},
                                                                     {"hey"},
                                                                     {"hi"},
                                                                     {"hello"},
                                                                     {"ok"},
                                                                     {"so"},
                                                                     {"tolvik"},
                                                                     {"and"},
                                                                     {"tell", "me"},
                                                                     {"can", "you", "tell", "me"},
                                                                     {"could", "you", "tell", "me"},
                                                                     {"do", "you", "know"}};
    static const std::vector<std::vector<std::string_view>> endings{
        {"please"}, {"thanks"}, {"thank", "you"}, {"exactly"}, {"roughly"}};
    const auto stands = [&](const std::vector<std::string_view>& row, std::size_t at) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            if (tokens[at + i].isQuoted || tokens[at + i].text != row[i]) {
                return false;
            }
        }
        return true;
    };
    for (bool again = true; again;) {
        again = false;
        for (const auto& row : openings) {
            // "tolvik, how much …" calls the program; "tolvik last week" names a project.
            const bool calls =
                tokens.size() > row.size() &&
                (row.front() != "tolvik" || isOneOf(tokens[row.size()].text, {"how", "what", "which", "when"}));
            if (calls && stands(row, 0)) {
                tokens.erase(tokens.begin(), tokens.begin() + static_cast<std::ptrdiff_t>(row.size()));
                again = true;
            }
        }
        for (const auto& row : endings) {
            if (tokens.size() > row.size() && stands(row, tokens.size() - row.size())) {
                tokens.resize(tokens.size() - row.size());
                again = true;
            }
        }
    }
}

/// The periods that lie in no longer one.
std::vector<PeriodWords> periodsIn(const std::vector<Token>& tokens, const PeriodFrame& frame) {
    std::vector<PeriodWords> found;
    for (std::size_t at = 0; at < tokens.size(); ++at) {
        auto period = periodAt(tokens, at, frame);
        const bool isInside = period && !found.empty() && at + period->count <= found.back().begin + found.back().count;
        if (period && !isInside) {
            found.push_back(std::move(*period));
        }
    }
    return found;
}

/// The words with the chosen periods as "@". A single period is left out where what follows shows that no name goes on.
std::string skeletonOf(const std::vector<Token>& tokens, const std::vector<PeriodWords>& chosen) {
    std::string text;
    for (std::size_t at = 0; at < tokens.size();) {
        const auto period = std::ranges::find(chosen, at, &PeriodWords::begin);
        std::string word = tokens[at].isQuoted ? "\"" + tokens[at].text + "\"" : tokens[at].text;
        if (period != chosen.end()) {
            at += period->count;
            const bool goesOn = at < tokens.size() && at > period->count &&
                                !isOneOf(tokens[at].text, {"on", "for", "in", "with", "at", "into", "to", "did", "have",
                                                           "i", "was", "were", "went", "per", "a", "each"});
            if (chosen.size() == 1 && !goesOn) {
                continue;
            }
            word = "@";
        } else {
            ++at;
        }
        text += (text.empty() ? "" : " ") + word;
    }
    return text;
}

void addFits(std::vector<Fit>& fits, const std::vector<Token>& tokens, const std::vector<PeriodWords>& chosen) {
    const auto skeleton = skeletonOf(tokens, chosen);
    for (const auto& form : questionForms()) {
        if (chosen.size() < form.fewestPeriods || chosen.size() > form.mostPeriods) {
            continue;
        }
        if (auto match = form.words.find(skeleton)) {
            // The first is the whole.
            match->groups.erase(match->groups.begin());
            std::erase_if(match->groups, [](const std::string& group) { return group.empty(); });
            fits.push_back({&form, std::move(match->groups), chosen});
        }
    }
}

std::vector<Fit> fitsOf(const std::vector<Token>& tokens, const PeriodFrame& frame) {
    constexpr std::size_t mostPeriods = 5;
    auto periods = periodsIn(tokens, frame);
    periods.resize(std::min(periods.size(), mostPeriods), PeriodWords{0, 0, DaySpan{}});
    std::vector<Fit> fits;
    addFits(fits, tokens, {});
    for (std::size_t i = 0; i < periods.size(); ++i) {
        addFits(fits, tokens, {periods[i]});
        for (std::size_t j = i + 1; j < periods.size(); ++j) {
            if (periods[i].begin + periods[i].count <= periods[j].begin) {
                addFits(fits, tokens, {periods[i], periods[j]});
            }
        }
    }
    return fits;
}

/// A name as a form found it, with a quotation taken out of its marks.
NameMatch looked(const std::string& slot, const NameBook& names) {
    const auto open = slot.find('"');
    if (open == std::string::npos) {
        return names.find(slot, false);
    }
    const auto close = slot.find('"', open + 1);
    if (close == std::string::npos) {
        return {};
    }
    const auto around = nameKey(slot.substr(0, open) + " " + slot.substr(close + 1));
    return isOneOf(around, {"", "the", "task", "project", "the task", "the project"})
               ? names.find(std::string_view(slot).substr(open + 1, close - open - 1), true)
               : NameMatch{};
}

std::string unclear(const std::string& slot, const NameMatch& match) {
    if (match.quality == NameMatch::Quality::none) {
        return fmt::format("I know no task or project “{}”. Write its name as it stands in the log.", nameKey(slot));
    }
    constexpr std::size_t most = 4;
    std::string list;
    for (std::size_t i = 0; i < std::min(most, match.candidates.size()); ++i) {
        list += (i == 0 ? "" : ", ") + match.candidates[i];
    }
    return fmt::format(
        "“{}” fits several: {}{}. Write more of the name.", nameKey(slot), list,
        match.candidates.size() > most ? fmt::format(" and {} more", match.candidates.size() - most) : "");
}

bool isFound(const NameMatch& match) {
    return match.quality <= NameMatch::Quality::near;
}

/// "A and B" where no name reads so: two names.
std::vector<std::string> splitNames(const std::string& slot, const NameBook& names) {
    for (auto at = slot.find(" and "); at != std::string::npos; at = slot.find(" and ", at + 1)) {
        std::vector<std::string> parts{slot.substr(0, at), slot.substr(at + 5)};
        if (parts[1].starts_with("on ") || parts[1].starts_with("for ")) {
            parts[1].erase(0, parts[1].find(' ') + 1);
        }
        if (std::ranges::all_of(parts, [&](const auto& part) { return isFound(looked(part, names)); })) {
            return parts;
        }
    }
    return {};
}

/// None when a name is not clear; `why` then says so.
std::optional<Reading> readingOf(Fit fit, const NameBook& names, std::string& why) {
    Question question;
    question.intent = fit.form->intent;
    if (question.intent == Intent::total && fit.names.size() == 1 && !isFound(looked(fit.names[0], names))) {
        if (auto parts = splitNames(fit.names[0], names); !parts.empty()) {
            fit.names = std::move(parts);
            question.intent = Intent::compareNames;
        }
    }
    Rank rank = Rank::exact;
    for (const auto& slot : fit.names) {
        auto match = looked(slot, names);
        if (!isFound(match) || (fit.form->exactName && match.quality != NameMatch::Quality::exact)) {
            // A bare name may be anything: it is no help to say that there is none such.
            why = fit.form->exactName ? std::string() : unclear(slot, match);
            return std::nullopt;
        }
        rank = std::max(rank, match.quality == NameMatch::Quality::exact     ? Rank::exact
                              : match.quality == NameMatch::Quality::partial ? Rank::partial
                                                                             : Rank::near);
        if (match.quality == NameMatch::Quality::near) {
            question.taken.push_back(fmt::format("I take “{}” for “{}”. ", nameKey(slot), match.subject.name));
        }
        question.subjects.push_back(std::move(match.subject));
    }
    for (const auto& period : fit.periods) {
        if (!period.days) {
            return Reading{rank, failure(period.days.error())};
        }
        question.periods.push_back(*period.days);
    }
    return Reading{rank, std::move(question)};
}

std::string whyNot(const std::vector<Token>& tokens) {
    for (const auto& token : tokens) {
        if (isOneOf(token.text,
                    {"morning", "afternoon", "evening", "night", "noon", "midnight", "tonight", "o'clock"})) {
            return "I count whole days, not parts of a day: ask for the day, for example “What did I do yesterday?”.";
        }
        if (isOneOf(token.text, {"will", "tomorrow", "shall"})) {
            return "I can only look back at what is tracked.";
        }
    }
    return "I do not understand that for sure. " + std::string(kHelp);
}

}  // namespace

Result<Question, Refusal> understand(std::string_view text, const NameBook& names, const PeriodFrame& frame) {
    auto tokens = text.size() > kMostBytes ? std::vector<Token>(kMostWords + 1) : tokensOf(text);
    if (tokens.size() > kMostWords) {
        return failure(Refusal{"That is too long for me. " + std::string(kHelp)});
    }
    stripManners(tokens);
    if (tokens.size() < 2) {
        return failure(Refusal{std::string(kHelp)});
    }
    std::string why;
    std::size_t whyPeriods = 0;
    std::vector<Reading> readings;
    for (auto& fit : fitsOf(tokens, frame)) {
        std::string here;
        const auto periods = fit.periods.size();
        if (auto reading = readingOf(std::move(fit), names, here)) {
            if (readings.empty() || reading->rank < readings.front().rank) {
                readings.clear();
            }
            if ((readings.empty() || reading->rank == readings.front().rank) &&
                std::ranges::none_of(readings, [&](const Reading& one) { return one.question == reading->question; })) {
                readings.push_back(std::move(*reading));
            }
        } else if (!here.empty() && (why.empty() || periods > whyPeriods)) {
            why = here;
            whyPeriods = periods;
        }
    }
    if (readings.empty()) {
        return failure(Refusal{why.empty() ? whyNot(tokens) : why});
    }
    if (readings.size() > 1) {
        return failure(
            Refusal{"That can be read in two ways. Put the name of the task or project in quotation marks."});
    }
    if (!readings.front().question) {
        return failure(Refusal{readings.front().question.error()});
    }
    auto& question = *readings.front().question;
    if (question.subjects.size() == 2 && question.subjects[0] == question.subjects[1]) {
        return failure(Refusal{"Both names stand for the same."});
    }
    return std::move(question);
}

}  // namespace tolvik
