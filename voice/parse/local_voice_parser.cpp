#include "voice/parse/local_voice_parser.h"

#include <algorithm>

#include "base/text.h"
#include "voice/parse/command_words.h"
#include "voice/parse/phrase_tables.h"
#include "voice/parse/sentence_forms.h"
#include "voice/parse/task_matching.h"

namespace tolvik {
namespace {

constexpr double sure = 0.95;
constexpr double certainMatch = 0.85;
constexpr double intentFloor = 0.55;
constexpr std::size_t longestTitle = 500;

/// One pattern that is found where any row is: a row's place in its table does not matter to the intent.
Pattern anyOf(std::span<const std::string_view> rows) {
    std::string all;
    for (const std::string_view row : rows) {
        all += all.empty() ? "(?:" : "|(?:";
        all += row;
        all += ')';
    }
    return Pattern(all);
}

struct Rule {
    Pattern pattern;
    std::string_view intent;
    double confidence;
};

const std::vector<Rule>& rules() {
    static const std::vector<Rule> all = [] {
        std::vector<Rule> out;
        out.push_back({anyOf(phrases::stopPatterns), "stop", sure});
        out.push_back({anyOf(phrases::donePatterns), "done", 0.85});
        out.push_back({anyOf(phrases::switchPatterns), "switch", 0.85});
        out.push_back({anyOf(phrases::startPatterns), "start", 0.8});
        return out;
    }();
    return all;
}

/// What follows the match at the front, trimmed; the text itself when there is none.
std::string remainder(const Pattern& pattern, std::string_view text) {
    const auto found = pattern.find(text);
    return trimmed(found ? text.substr(found->end) : text);
}

bool namesPlace(std::string_view reference) {
    return spokenPosition(reference) || isPreviousReference(reference);
}

/// "the second task", "task number 2", "the prior one": a place in the list and nothing beside it.
bool isOnlyPlace(std::string_view sentence) {
    constexpr std::size_t longestPlace = 3;
    return namesPlace(sentence) && words(withoutArticle(sentence)).size() <= longestPlace;
}

const TaskInfo* titled(const std::vector<TaskInfo>& tasks, std::string_view text) {
    const auto found = std::ranges::find_if(tasks, [&](const TaskInfo& t) { return comparableTitle(t.title) == text; });
    return found != tasks.end() ? &*found : nullptr;
}

}  // namespace

struct LocalVoiceParser::Impl {
    explicit Impl(SentenceEmbedder* embedder) : vectors(embedder) {}

    mutable SentenceVectors vectors;

    /// One sentence on its way through the steps.
    struct Sentence {
        const std::vector<TaskInfo>& tasks;
        /// Before the correction towards titles.
        std::string spoken;
        /// Classified and matched.
        std::string matched;
        /// Without trailing punctuation; gives new titles.
        std::string titled;
        Intent intent;
    };

    std::optional<TaskMatch> resolve(const Sentence& s, std::string_view reference) const;
    ParseResult stop(const Sentence& s) const;
    ParseResult start(const Sentence& s, const std::optional<TaskMatch>& halfMatch) const;
};

/// The task that the sentence means. Its words are tried as they stand and, where that leaves doubt, without the frame
/// that they stand in.
std::optional<TaskMatch> LocalVoiceParser::Impl::resolve(const Sentence& s, std::string_view reference) const {
    std::optional<TaskMatch> best = matchTask(withoutArticle(reference), s.tasks, s.titled, &vectors);
    const bool mayStart = s.intent.kind == "start" || s.intent.kind == "unknown";
    // A half match would spoil a new task's title, so a start needs a whole one.
    const double floor = mayStart ? certainMatch : 0;
    const auto consider = [&](std::string_view text) {
        if (text.empty() || (best && best->confidence >= certainMatch)) {
            return;
        }
        auto found = matchTask(text, s.tasks, text);
        if (found && found->confidence >= floor && (!best || found->confidence > best->confidence)) {
            best = std::move(found);
        }
    };
    if (!best || best->confidence < certainMatch) {
        // Titles may begin with an article or a command word themselves.
        for (const std::string_view whole : {reference, std::string_view(s.matched)}) {
            if (titled(s.tasks, whole) != nullptr) {
                consider(whole);
            }
        }
        for (const std::string& framed : framedReferences(s.intent.kind, s.matched)) {
            consider(framed);
        }
        // A name in two pieces may have been corrected piece by piece: "in voice" is nearer to "invoice" as it stands.
        if (s.spoken != s.matched && !mayStart) {
            consider(withoutArticle(withoutReferencePrefix(s.spoken)));
        }
    }
    return best;
}

ParseResult LocalVoiceParser::Impl::stop(const Sentence& s) const {
    static const Pattern extraction(phrases::stopExtraction);
    if (const TaskInfo* task = titled(s.tasks, s.matched)) {
        return {"switch", task->id, task->title, std::nullopt, 0.98, "exact"};
    }
    const std::string rest = remainder(extraction, s.matched);
    double confidence = s.intent.confidence;
    if (!isEmptyReference(rest)) {
        const auto found = matchTask(withoutArticle(rest), s.tasks, s.titled, &vectors);
        if (found && found->confidence >= certainMatch) {
            confidence = found->task.isActive ? sure : 0.4;
            return {"stop", found->task.id, found->task.title, std::nullopt, confidence, "keyword"};
        }
    }
    return {"stop", std::nullopt, "", std::nullopt, confidence, "keyword"};
}

ParseResult LocalVoiceParser::Impl::start(const Sentence& s, const std::optional<TaskMatch>& halfMatch) const {
    std::string title = newTaskTitle(s.titled.empty() ? s.matched : s.titled);
    double confidence = 0;
    if (halfMatch) {
        confidence = halfMatch->confidence < 0.6 ? halfMatch->confidence : 0.45;
    } else if (s.intent.kind == "start") {
        confidence = 0.75;
    } else {
        confidence = graphemeCount(title) >= 6 ? 0.55 : 0.3;
    }
    return {"start", std::nullopt, firstGraphemes(title, longestTitle), std::nullopt, confidence, "keyword"};
}

LocalVoiceParser::LocalVoiceParser(SentenceEmbedder* embedder) : impl_(std::make_unique<Impl>(embedder)) {}
LocalVoiceParser::~LocalVoiceParser() = default;

ParseResult LocalVoiceParser::parse(std::string_view transcript, const std::vector<TaskInfo>& tasks) const {
    static const Pattern doneExtraction(phrases::doneExtraction);
    const std::string text = trimmed(transcript);
    if (text.empty()) {
        return {"stop", std::nullopt, "", std::nullopt, 1.0, "empty"};
    }
    const std::string spoken = normalised(text);
    Impl::Sentence s{tasks,
                     withoutTrailingFillers(spoken),
                     correctedTowards(tasks, spoken),
                     correctedTowards(tasks, normalised(withoutTrailingPunctuation(text))),
                     {}};
    s.intent = classifyIntent(s.matched);
    if (s.intent.byEmbedding && isOnlyPlace(s.matched)) {
        // Such words are near to every anchor that speaks of a task; what is meant is the task itself.
        s.intent = classifyByPhrase(s.matched);
    }
    const std::string& kind = s.intent.kind;
    if (kind == "stop") {
        return impl_->stop(s);
    }
    s.matched = withoutTrailingFillers(s.matched);
    s.titled = withoutTrailingFillers(s.titled);

    std::string reference(withoutReferencePrefix(s.matched));
    if (kind == "done") {
        const std::string rest = remainder(doneExtraction, s.matched);
        const auto meansRunning = [](std::string_view r) { return isEmptyReference(r) && !namesPlace(r); };
        // A whole title is never only a command: "ship it" may be what the task is called.
        const bool isTitle = titled(tasks, s.matched) != nullptr;
        const auto framed = framedReferences(kind, s.matched);
        if (meansRunning(rest) || (!isTitle && rest == s.matched && std::ranges::any_of(framed, meansRunning))) {
            const double confidence = s.intent.byEmbedding ? s.intent.confidence : sure;
            return {"done", std::nullopt, "", std::nullopt, confidence, "keyword"};
        }
        if (rest != s.matched) {
            reference = rest;
        }
    }

    const std::optional<TaskMatch> found = impl_->resolve(s, reference);
    const bool mayStart = kind == "start" || kind == "unknown";
    if (!found) {
        return mayStart ? impl_->start(s, found) : ParseResult{kind, std::nullopt, "", std::nullopt, 0.2, "none"};
    }
    if (mayStart && found->confidence < (kind == "start" ? 0.8 : certainMatch)) {
        return impl_->start(s, found);
    }
    const double confidence =
        s.intent.byEmbedding ? std::min(found->confidence, s.intent.confidence) : found->confidence;
    return {mayStart ? "switch" : kind, found->task.id, found->task.title, std::nullopt, confidence, found->method};
}

LocalVoiceParser::Intent LocalVoiceParser::classifyByPhrase(std::string_view text) {
    for (const Rule& rule : rules()) {
        if (rule.pattern.found(text)) {
            return {std::string(rule.intent), rule.confidence, false};
        }
    }
    return {"unknown", 0.3, false};
}

LocalVoiceParser::Intent LocalVoiceParser::classifyIntent(std::string_view text) const {
    Intent intent = classifyByPhrase(text);
    if (intent.kind == "unknown") {
        if (const auto anchor = classifyByEmbedding(text)) {
            return {anchor->intent, anchor->similarity, true};
        }
    }
    return intent;
}

std::optional<LocalVoiceParser::AnchorMatch> LocalVoiceParser::classifyByEmbedding(std::string_view text) const {
    const SentenceVectors::Vector vector = impl_->vectors.ofSentence(text);
    if (!vector) {
        return std::nullopt;
    }
    const SentenceVectors::Anchor* best = nullptr;
    double bestSimilarity = 0;
    for (const SentenceVectors::Anchor& anchor : impl_->vectors.anchors()) {
        const double similarity = cosine(*vector, *anchor.vector);
        if (similarity > bestSimilarity) {
            best = &anchor;
            bestSimilarity = similarity;
        }
    }
    if (best == nullptr || bestSimilarity < intentFloor) {
        return std::nullopt;
    }
    return AnchorMatch{std::string(best->intent), std::string(best->sentence), bestSimilarity};
}

void LocalVoiceParser::warm(const std::vector<std::string>& titles) const {
    static_cast<void>(impl_->vectors.anchors());
    for (const std::string& title : titles) {
        static_cast<void>(impl_->vectors.ofTitle(comparableTitle(title)));
    }
}

}  // namespace tolvik
