#include "voice/hearing/command_grammar.h"

#include <algorithm>
#include <array>
#include <limits>
#include <set>
#include <utility>

#include "base/text.h"
#include "voice/hearing/command_phrases.h"

namespace tolvik {
namespace {

/// Words that cannot stand for a title by themselves.
constexpr auto functionWords = std::to_array<std::string_view>(
    {"a",   "an", "and", "at",   "by",  "for", "from", "in",   "it",    "my",     "of",    "on",   "or",  "our",
     "the", "to", "up",  "with", "new", "fix", "do",   "make", "write", "update", "first", "last", "one", "two"});

bool isFunctionWord(const std::string& word) {
    return std::find(functionWords.begin(), functionWords.end(), word) != functionWords.end();
}

/// Words that the engine writes for a command's first word where its own language expects them.
constexpr auto expectedInstead =
    std::to_array<std::pair<std::string_view, std::string_view>>({{"and", "add"}, {"at", "add"}});

constexpr std::size_t longestTitle = 12;  ///< words; nobody reads a longer title out whole
constexpr float partialPenalty = 0.35F;
constexpr float barePenalty = 0.5F;
constexpr std::size_t fewestSounds = 4;

float lengthOf(const Phones& phones) {
    float sum = 0;
    for (const Phone phone : phones) {
        sum += gapCost(phone);
    }
    return sum;
}

}  // namespace

CommandGrammar::CommandGrammar(const Pronouncer& pronouncer, const KnownWords& known) : pronouncer_(pronouncer) {
    std::set<std::string> seenLeads;
    std::set<std::string> seenTails;
    tails_.push_back(part(""));
    leads_.push_back(part(""));
    leads_.front().penalty = barePenalty;
    for (const CommandPhrase& phrase : commandPhrases()) {
        if (!phrase.takesTask) {
            sentences_.push_back(part(phrase.lead));
            continue;
        }
        if (seenLeads.insert(phrase.lead).second) {
            leads_.push_back(part(phrase.lead));
        }
        if (!phrase.tail.empty() && seenTails.insert(phrase.tail).second) {
            tails_.push_back(part(phrase.tail));
        }
    }
    for (const std::string_view filler : {"now", "please", "again", "right now"}) {
        if (seenTails.insert(std::string(filler)).second) {
            tails_.push_back(part(std::string(filler)));
        }
    }
    std::set<std::string> seen;
    for (const std::string& title : known.titles) {
        Part whole = part(title);
        const auto size = words(whole.spoken).size();
        if (size > 0 && size <= longestTitle && seen.insert(whole.spoken).second) {
            whole.task = KnownSentence::Task::whole;
            references_.push_back(std::move(whole));
        }
    }
    for (const std::string& title : known.titles) {
        const std::vector<std::string> all = words(title);
        for (std::size_t begin = 0; begin < all.size(); ++begin) {
            for (std::size_t end = begin + 1; end <= std::min(all.size(), begin + 5); ++end) {
                Part some = part(joined(
                    {all.begin() + static_cast<std::ptrdiff_t>(begin), all.begin() + static_cast<std::ptrdiff_t>(end)},
                    " "));
                const auto spoken = words(some.spoken);
                if (spoken.empty() || isFunctionWord(spoken.front()) || isFunctionWord(spoken.back()) ||
                    some.ways.front().size() < fewestSounds || !seen.insert(some.spoken).second) {
                    continue;
                }
                some.task = KnownSentence::Task::part;
                some.penalty = partialPenalty;
                references_.push_back(std::move(some));
            }
        }
    }
    std::set<std::string> seenNames;
    for (const std::string& name : known.names) {
        Part some = part(name);
        if (!some.spoken.empty() && some.ways.front().size() >= fewestSounds && seenNames.insert(some.spoken).second) {
            names_.push_back(std::move(some));
        }
    }
    for (const std::string& title : known.titles) {
        for (const std::string& word : words(title)) {
            Part some = part(word);
            // A title's words that the dictionary lacks are names, which the engine cannot know either.
            if (!some.spoken.empty() && !pronouncer_.isKnown(some.spoken) && some.ways.front().size() >= fewestSounds &&
                seenNames.insert(some.spoken).second) {
                names_.push_back(std::move(some));
            }
        }
    }
}

std::vector<Phones> CommandGrammar::waysToSay(const std::vector<std::string>& spoken) const {
    constexpr std::size_t most = 4;
    std::vector<Phones> ways = {{}};
    for (const std::string& word : spoken) {
        std::vector<Phones> longer;
        for (const Phones& begun : ways) {
            for (const Phones& next : pronouncer_.waysToSay(word)) {
                if (longer.size() < most) {
                    longer.push_back(begun);
                    longer.back().insert(longer.back().end(), next.begin(), next.end());
                }
            }
        }
        ways = std::move(longer);
    }
    return ways;
}

CommandGrammar::Part CommandGrammar::part(std::string text) const {
    Part made;
    const auto spoken = spokenWords(text);
    made.text = std::move(text);
    made.spoken = joined(spoken, " ");
    made.ways = waysToSay(spoken);
    return made;
}

std::vector<KnownSentence> CommandGrammar::nearest(const Phones& heard, std::size_t count) const {
    std::vector<KnownSentence> found;
    if (heard.empty() || count == 0) {
        return found;
    }
    const float heardLength = lengthOf(heard);
    const auto offer = [&](KnownSentence sentence) {
        if (found.size() == count && sentence.distance >= found.back().distance) {
            return;
        }
        const auto same = std::find_if(found.begin(), found.end(),
                                       [&](const KnownSentence& each) { return each.spoken == sentence.spoken; });
        if (same != found.end()) {
            if (same->distance <= sentence.distance) {
                return;
            }
            found.erase(same);
        }
        const auto at = std::find_if(found.begin(), found.end(),
                                     [&](const KnownSentence& each) { return sentence.distance < each.distance; });
        found.insert(at, std::move(sentence));
        if (found.size() > count) {
            found.pop_back();
        }
    };
    const auto relative = [&](float cost, float length) { return cost / std::max(1.0F, (length + heardLength) / 2); };
    for (const Part& sentence : sentences_) {
        for (const Phones& way : sentence.ways) {
            offer({sentence.text, sentence.spoken, relative(soundDistance(heard, way), lengthOf(way)), 0,
                   KnownSentence::Task::none});
        }
    }
    // Lead and reference are measured apart, each against every beginning or end of what was heard, and then joined
    // at the best place: the cost of all pairs without aligning any pair.
    struct Lead {
        const Part* part;
        std::vector<float> costs;
        float length;
    };
    std::vector<Lead> leads;
    std::vector<float> best(heard.size() + 1, std::numeric_limits<float>::max());
    for (const Part& lead : leads_) {
        Lead made{&lead, prefixDistances(heard, lead.ways.front()), lengthOf(lead.ways.front())};
        for (std::size_t way = 1; way < lead.ways.size(); ++way) {
            const auto costs = prefixDistances(heard, lead.ways[way]);
            for (std::size_t k = 0; k < costs.size(); ++k) {
                made.costs[k] = std::min(made.costs[k], costs[k]);
            }
        }
        for (std::size_t k = 0; k < best.size(); ++k) {
            made.costs[k] += lead.penalty;
            best[k] = std::min(best[k], made.costs[k]);
        }
        leads.push_back(std::move(made));
    }
    // Of the words that may follow a task only those count that the end sounds like.
    std::vector<const Part*> tails;
    for (const Part& tail : tails_) {
        const Phones& meant = tail.ways.front();
        const auto costs = suffixDistances(heard, meant);
        if (meant.empty() || *std::min_element(costs.begin(), costs.end()) < 0.4F * lengthOf(meant)) {
            tails.push_back(&tail);
        }
    }
    for (const Part& reference : references_) {
        for (const Part* const tailPart : tails) {
            const Part& tail = *tailPart;
            for (const Phones& way : reference.ways) {
                Phones meant = way;
                meant.insert(meant.end(), tail.ways.front().begin(), tail.ways.front().end());
                const auto costs = suffixDistances(heard, meant);
                float least = std::numeric_limits<float>::max();
                for (std::size_t k = 0; k < costs.size(); ++k) {
                    least = std::min(least, best[k] + costs[k]);
                }
                const float length = lengthOf(meant);
                for (const Lead& lead : leads) {
                    float cost = std::numeric_limits<float>::max();
                    float taskCost = 0;
                    for (std::size_t k = 0; k < costs.size(); ++k) {
                        if (lead.costs[k] + costs[k] < cost) {
                            cost = lead.costs[k] + costs[k];
                            taskCost = costs[k];
                        }
                    }
                    const float distance = relative(cost + reference.penalty, lead.length + length);
                    if (cost > least + 1.0F || (found.size() == count && distance >= found.back().distance)) {
                        continue;
                    }
                    offer({joined(words(lead.part->text + " " + reference.text + " " + tail.text), " "),
                           joined(words(lead.part->spoken + " " + reference.spoken + " " + tail.spoken), " "), distance,
                           taskCost / std::max(1.0F, length), reference.task});
                }
            }
        }
    }
    return found;
}

std::vector<CommandGrammar::Led> CommandGrammar::withMendedLead(std::string_view text) const {
    constexpr std::size_t longestLead = 5;
    constexpr float expectedDistance = 0.25F;
    constexpr std::size_t most = 3;
    constexpr float farthest = 0.6F;
    const std::vector<std::string> all = words(text);
    std::vector<Led> found;
    for (std::size_t cut = 1; cut < all.size() && cut <= longestLead; ++cut) {
        const auto spoken = spokenWords(joined({all.begin(), all.begin() + static_cast<std::ptrdiff_t>(cut)}, " "));
        const Phones heard = pronouncer_.sentence(spoken);
        const std::string said = joined(spoken, " ");
        for (const Part& lead : leads_) {
            if (lead.spoken.empty()) {
                continue;
            }
            if (lead.spoken == said) {
                return {};
            }
            const bool isExpected = std::ranges::find(expectedInstead, std::pair<std::string_view, std::string_view>(
                                                                           said, lead.spoken)) != expectedInstead.end();
            for (const Phones& way : lead.ways) {
                float distance = soundDistance(heard, way) / std::max(1.0F, lengthOf(way));
                distance = isExpected ? std::min(distance, expectedDistance) : distance;
                if (distance < farthest) {
                    found.push_back(
                        {lead.text + " " + joined({all.begin() + static_cast<std::ptrdiff_t>(cut), all.end()}, " "),
                         distance});
                }
            }
        }
    }
    std::stable_sort(found.begin(), found.end(), [](const Led& a, const Led& b) { return a.distance < b.distance; });
    if (found.size() > most) {
        found.resize(most);
    }
    return found;
}

std::string CommandGrammar::textOf(std::span<const Word> all) {
    std::string text;
    for (const Word& word : all) {
        text += (text.empty() ? "" : " ") + word.text;
    }
    return text;
}

CommandGrammar::Stretch CommandGrammar::likest(const Part& name, const std::vector<Word>& all) const {
    Stretch best{0, 0, std::numeric_limits<float>::max()};
    const std::size_t longest = words(name.spoken).size() + 1;
    for (std::size_t begin = 0; begin < all.size(); ++begin) {
        for (std::size_t end = begin + 1; end <= std::min(all.size(), begin + longest) && !all[end - 1].isName; ++end) {
            const auto spoken = spokenWords(textOf(std::span(all).subspan(begin, end - begin)));
            if (joined(spoken, " ") == name.spoken) {
                return {begin, end, -1.0F};
            }
            const Phones heard = pronouncer_.sentence(spoken);
            for (const Phones& way : name.ways) {
                const float distance = soundDistance(heard, way) / std::max(1.0F, lengthOf(way));
                if (distance < best.distance) {
                    best = {begin, end, distance};
                }
            }
        }
    }
    return best;
}

std::string CommandGrammar::withMendedNames(std::string_view text, const ScoreName& score) const {
    constexpr float farthest = 0.6F;
    constexpr std::size_t mostAsked = 4;
    constexpr int mostNames = 3;
    std::vector<Word> all;
    for (std::string& word : words(text)) {
        all.push_back({std::move(word)});
    }
    const auto replaced = [&](const Stretch& stretch, const Part& name) {
        std::vector<Word> mended = all;
        const auto begin = mended.begin() + static_cast<std::ptrdiff_t>(stretch.begin);
        const auto at = mended.erase(begin, mended.begin() + static_cast<std::ptrdiff_t>(stretch.end));
        mended.insert(at, {name.text, true});
        return mended;
    };
    std::vector<const Part*> open;
    for (const Part& name : names_) {
        if (const Stretch stretch = likest(name, all); stretch.distance < 0) {
            all = replaced(stretch, name);
        } else {
            open.push_back(&name);
        }
    }
    for (int round = 0; round < mostNames; ++round) {
        std::vector<std::pair<Stretch, const Part*>> likely;
        for (const Part* name : open) {
            if (const Stretch stretch = likest(*name, all); stretch.distance < farthest) {
                likely.emplace_back(stretch, name);
            }
        }
        std::ranges::stable_sort(likely, {}, [](const auto& each) { return each.first.distance; });
        likely.resize(std::min(likely.size(), mostAsked));
        std::optional<double> bestScore;
        const Part* bestName = nullptr;
        std::vector<Word> best;
        for (const auto& [stretch, name] : likely) {
            auto mended = replaced(stretch, *name);
            const auto heard = spokenWords(textOf(std::span(all).subspan(stretch.begin, stretch.end - stretch.begin)));
            const bool wereWords = std::ranges::all_of(heard, [&](auto& word) { return pronouncer_.isKnown(word); });
            const auto found = score(textOf(mended), {stretch.distance, wereWords, stretch.begin == 0});
            if (found && (!bestScore || *found > *bestScore)) {
                bestScore = found;
                bestName = name;
                best = std::move(mended);
            }
        }
        if (bestName == nullptr) {
            break;
        }
        all = std::move(best);
        std::erase(open, bestName);
    }
    return textOf(all);
}

std::string CommandGrammar::jsgf() const {
    const auto rule = [](const std::vector<Part>& parts, bool (*wanted)(const Part&)) {
        std::string text;
        for (const Part& each : parts) {
            if (!each.spoken.empty() && wanted(each)) {
                text += (text.empty() ? "" : " | ") + each.spoken;
            }
        }
        return text;
    };
    const auto any = [](const Part&) { return true; };
    std::string out = "#JSGF V1.0;\ngrammar commands;\n";
    out += "<bare> = " + rule(sentences_, any) + ";\n";
    out += "<lead> = " + rule(leads_, any) + ";\n";
    out += "<tail> = " + rule(tails_, any) + ";\n";
    if (references_.empty()) {
        return out + "public <command> = <bare>;\n";
    }
    out += "<whole> = " + rule(references_, [](const Part& each) { return each.task == KnownSentence::Task::whole; }) +
           ";\n";
    const std::string partial =
        rule(references_, [](const Part& each) { return each.task == KnownSentence::Task::part; });
    out += "<task> = /0.8/ <whole>" + (partial.empty() ? "" : " | /0.2/ ( " + partial + " )") + ";\n";
    return out + "public <command> = /0.3/ <bare> | /0.6/ <lead> <task> [ <tail> ] | /0.1/ <task> [ <tail> ];\n";
}

std::vector<std::string> CommandGrammar::vocabulary() const {
    std::set<std::string> all;
    for (const auto* parts : {&sentences_, &leads_, &tails_, &references_}) {
        for (const Part& each : *parts) {
            for (std::string& word : words(each.spoken)) {
                all.insert(std::move(word));
            }
        }
    }
    return {all.begin(), all.end()};
}

}  // namespace tolvik
