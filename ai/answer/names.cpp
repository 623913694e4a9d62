#include "ai/answer/names.h"

#include <algorithm>
#include <array>
#include <map>

#include "ai/answer/calendar.h"
#include "ai/answer/tokens.h"
#include "base/text.h"

namespace tolvik {
namespace {

/// Words that stand for themselves in a question and are no part of a name.
bool isCommonWord(std::string_view key) {
    constexpr std::array<std::string_view, 61> common{
        "it",      "that",      "this",     "them",  "these",   "those",   "everything", "anything", "something",
        "nothing", "all",       "any",      "stuff", "things",  "thing",   "me",         "my",       "you",
        "work",    "working",   "time",     "times", "hour",    "hours",   "minute",     "minutes",  "day",
        "days",    "week",      "weeks",    "month", "months",  "quarter", "year",       "years",    "weekend",
        "morning", "afternoon", "evening",  "night", "noon",    "today",   "yesterday",  "tomorrow", "task",
        "tasks",   "project",   "projects", "now",   "average", "total",   "most",       "least",    "more",
        "less",    "other",     "others",   "same",  "each",    "the",     "and"};
    return std::ranges::find(common, key) != common.end() || calendar::weekdayNamed(key) || calendar::monthNamed(key) ||
           std::ranges::all_of(key, [](char c) { return (c >= '0' && c <= '9') || c == ' '; });
}

/// Words of time and order: a name with one of them is taken only as it is written.
bool isCalendarWord(std::string_view word) {
    constexpr std::array<std::string_view, 24> known{
        "day",   "days",  "week",    "weeks",     "weekend",  "month", "months", "quarter",
        "year",  "years", "morning", "afternoon", "evening",  "night", "noon",   "hour",
        "hours", "today", "now",     "yesterday", "tomorrow", "first", "last",   "next"};
    return std::ranges::find(known, word) != known.end() || calendar::weekdayNamed(word) || calendar::monthNamed(word);
}

/// Insertions, deletions, substitutions and swaps of neighbours; at most `most` are of interest.
std::size_t slips(std::u32string_view a, std::u32string_view b, std::size_t most) {
    if (std::max(a.size(), b.size()) - std::min(a.size(), b.size()) > most) {
        return most + 1;
    }
    std::vector<std::vector<std::size_t>> cost(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
    for (std::size_t i = 0; i <= a.size(); ++i) {
        for (std::size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                cost[i][j] = i + j;
                continue;
            }
            cost[i][j] = std::min(
                {cost[i - 1][j] + 1, cost[i][j - 1] + 1, cost[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0U : 1U)});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
            }
        }
    }
    return cost[a.size()][b.size()];
}

/// Word by word: short words, words with digits and first letters must be right.
bool isNear(const std::vector<std::string>& asked, const std::vector<std::string>& name) {
    if (asked.size() != name.size()) {
        return false;
    }
    constexpr std::size_t shortest = 5;
    constexpr std::size_t longWord = 8;
    constexpr std::size_t mostInAll = 2;
    std::size_t all = 0;
    for (std::size_t i = 0; i < asked.size(); ++i) {
        if (asked[i] == name[i]) {
            continue;
        }
        const auto a = codePoints(asked[i]);
        const auto b = codePoints(name[i]);
        const auto hasDigit = [](char32_t c) { return c >= U'0' && c <= U'9'; };
        if (std::min(a.size(), b.size()) < shortest || a.front() != b.front() || std::ranges::any_of(a, hasDigit) ||
            std::ranges::any_of(b, hasDigit)) {
            return false;
        }
        const std::size_t most = std::min(a.size(), b.size()) >= longWord ? 2 : 1;
        const auto here = slips(a, b, most);
        all += here;
        if (here > most || all > mostInAll) {
            return false;
        }
    }
    return true;
}

std::string without(std::string key, std::string_view begin, std::string_view end) {
    if (!begin.empty() && key.starts_with(begin) && key.size() > begin.size()) {
        key.erase(0, begin.size());
    }
    if (!end.empty() && key.ends_with(end) && key.size() > end.size()) {
        key.resize(key.size() - end.size());
    }
    return key;
}

}  // namespace

NameBook::NameBook(const AnswerLog& log) {
    std::map<std::pair<bool, std::string>, Subject> subjects;
    const auto add = [&](bool isProject, const std::string& name, const Identifier& id) {
        auto key = nameKey(name);
        if (key.empty()) {
            return;
        }
        auto& subject = subjects[{isProject, std::move(key)}];
        subject.isProject = isProject;
        subject.name = subject.name.empty() ? name : subject.name;
        subject.ids.push_back(id);
    };
    for (const auto& task : log.tasks) {
        add(false, task.title, task.id);
    }
    for (const auto& project : log.projects) {
        add(true, project.name, project.id);
    }
    for (auto& [key, subject] : subjects) {
        std::ranges::sort(subject.ids);
        entries_.push_back({key.second, std::move(subject)});
    }
}

NameMatch NameBook::exact(const std::string& key, Wanted wanted) const {
    NameMatch match;
    for (const auto& entry : entries_) {
        if (entry.key == key && (wanted == Wanted::any || (wanted == Wanted::project) == entry.subject.isProject)) {
            match.quality = match.candidates.empty() ? NameMatch::Quality::exact : NameMatch::Quality::several;
            match.subject = entry.subject;
            match.candidates.push_back((entry.subject.isProject ? "project “" : "task “") + entry.subject.name + "”");
        }
    }
    return match;
}

NameMatch NameBook::loose(const std::string& key, Wanted wanted) const {
    NameMatch match;
    constexpr std::size_t shortest = 3;
    if (isCommonWord(key) || graphemeCount(key) < shortest) {
        return match;
    }
    const std::string between = " " + key + " ";
    const auto asked = words(key);
    if (std::ranges::any_of(asked, isCalendarWord)) {
        return match;
    }
    for (const auto& entry : entries_) {
        if (wanted != Wanted::any && (wanted == Wanted::project) != entry.subject.isProject) {
            continue;
        }
        const bool isPart = (" " + entry.key + " ").contains(between);
        if (!isPart && !isNear(asked, words(entry.key))) {
            continue;
        }
        match.quality = !match.candidates.empty() ? NameMatch::Quality::several
                        : isPart                  ? NameMatch::Quality::partial
                                                  : NameMatch::Quality::near;
        match.subject = entry.subject;
        match.candidates.push_back("“" + entry.subject.name + "”");
    }
    return match;
}

NameMatch NameBook::find(std::string_view asked, bool isQuoted) const {
    const auto key = nameKey(asked);
    if (key.empty()) {
        return {};
    }
    if (isQuoted) {
        return exact(key, Wanted::any);
    }
    if (isCommonWord(key)) {
        return {};
    }
    auto match = exact(key, Wanted::any);
    if (match.quality != NameMatch::Quality::none) {
        return match;
    }
    // "the Tolvik project", "project Tolvik", "my emails"
    std::string bare = key;
    for (const std::string_view article : {"the ", "my ", "our ", "a ", "an "}) {
        bare = without(std::move(bare), article, {});
    }
    Wanted wanted = Wanted::any;
    for (const auto& [before, behind, kind] :
         {std::tuple{"project ", " project", Wanted::project}, std::tuple{"task ", " task", Wanted::task}}) {
        // Of a bare "X project" the whole may still be a part of a title.
        if (bare.starts_with(before) || bare.ends_with(behind)) {
            wanted = kind;
            bare =
                bare.starts_with(before) ? without(std::move(bare), before, {}) : without(std::move(bare), {}, behind);
        }
    }
    if (wanted == Wanted::any && isCommonWord(bare)) {
        return {};
    }
    match = exact(bare, wanted);
    if (match.quality != NameMatch::Quality::none) {
        return match;
    }
    match = loose(bare, wanted);
    if (wanted == Wanted::any || match.quality == NameMatch::Quality::several) {
        return match;
    }
    const auto whole = loose(key, Wanted::any);
    if (whole.quality == NameMatch::Quality::none) {
        return match;
    }
    return match.quality == NameMatch::Quality::none ? whole
                                                     : NameMatch{NameMatch::Quality::several, {}, whole.candidates};
}

}  // namespace tolvik
