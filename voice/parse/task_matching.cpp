#include "voice/parse/task_matching.h"

#include <algorithm>
#include <charconv>

#include "base/text.h"
#include "voice/parse/edit_distance.h"
#include "voice/parse/phrase_tables.h"
#include "voice/parse/sentence_forms.h"

namespace tolvik {
namespace {

constexpr double positionConfidence = 0.95;
constexpr double previousConfidence = 0.9;
constexpr double equalTitle = 0.98;
constexpr double titleHoldsText = 0.9;
constexpr double textHoldsTitle = 0.85;
constexpr double ambiguityPenalty = 0.85;
constexpr double embeddingFloor = 0.6;
constexpr double fuzzyFloor = 0.7;

struct Prepared {
    const TaskInfo* task;
    std::string lower;
    std::u32string characters;
};

std::vector<Prepared> prepare(const std::vector<TaskInfo>& tasks) {
    std::vector<Prepared> out;
    out.reserve(tasks.size());
    for (const TaskInfo& task : tasks) {
        std::string lower = comparableTitle(task.title);
        std::u32string spelled = characters(lower);
        out.push_back({&task, std::move(lower), std::move(spelled)});
    }
    return out;
}

TaskMatch match(const TaskInfo& task, double confidence, std::string_view method) {
    return {task, confidence, std::string(method)};
}

double titleConfidence(const Prepared& task, std::string_view text, std::size_t length) {
    if (text.empty() || task.lower.empty()) {
        return 0;
    }
    if (task.lower == text) {
        return equalTitle;
    }
    const auto titleLength = static_cast<double>(task.characters.size());
    const auto textLength = static_cast<double>(length);
    if (task.lower.contains(text)) {
        const double ratio = textLength / titleLength;
        return ratio > 0.5 ? titleHoldsText * ratio : 0;
    }
    if (text.contains(task.lower)) {
        const double ratio = titleLength / textLength;
        return ratio > 0.7 ? textHoldsTitle * ratio : 0;
    }
    return 0;
}

std::optional<TaskMatch> byTitle(const std::vector<Prepared>& tasks, std::string_view text, std::size_t length) {
    const Prepared* best = nullptr;
    const Prepared* active = nullptr;
    double bestConfidence = 0;
    double activeConfidence = 0;
    std::size_t found = 0;
    for (const Prepared& task : tasks) {
        const double confidence = titleConfidence(task, text, length);
        if (confidence <= 0) {
            continue;
        }
        ++found;
        if (task.task->isActive && active == nullptr) {
            active = &task;
            activeConfidence = confidence;
        }
        if (confidence > bestConfidence) {
            best = &task;
            bestConfidence = confidence;
        }
    }
    if (found == 0) {
        return std::nullopt;
    }
    if (found == 1) {
        return match(*best->task, bestConfidence, "exact");
    }
    return active != nullptr ? match(*active->task, activeConfidence * ambiguityPenalty, "exact")
                             : match(*best->task, bestConfidence * ambiguityPenalty, "exact");
}

std::optional<TaskMatch> byMeaning(const std::vector<Prepared>& tasks, std::string_view text,
                                   SentenceVectors& vectors) {
    const SentenceVectors::Vector wanted = vectors.ofSentence(text);
    if (!wanted) {
        return std::nullopt;
    }
    const Prepared* best = nullptr;
    double bestSimilarity = embeddingFloor;
    for (const Prepared& task : tasks) {
        const SentenceVectors::Vector vector = vectors.ofTitle(task.lower);
        const double similarity = vector ? cosine(*wanted, *vector) : 0;
        if (similarity > bestSimilarity) {
            best = &task;
            bestSimilarity = similarity;
        }
    }
    return best != nullptr ? std::optional(match(*best->task, bestSimilarity, "embedding")) : std::nullopt;
}

std::optional<TaskMatch> bySpelling(const std::vector<Prepared>& tasks, const std::u32string& text) {
    const Prepared* best = nullptr;
    double bestSimilarity = fuzzyFloor;
    for (const Prepared& task : tasks) {
        const std::size_t longer = std::max(text.size(), task.characters.size());
        if (longer == 0) {
            continue;
        }
        const double similarity =
            1.0 - static_cast<double>(editDistance(text, task.characters)) / static_cast<double>(longer);
        if (similarity > bestSimilarity) {
            best = &task;
            bestSimilarity = similarity;
        }
    }
    return best != nullptr ? std::optional(match(*best->task, bestSimilarity, "fuzzy")) : std::nullopt;
}

std::optional<int> numberOf(std::string_view word, std::size_t rows) {
    for (const auto& [text, value] : phrases::numberWords.first(rows)) {
        if (text == word) {
            return value;
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<int> spokenPosition(std::string_view reference) {
    const std::vector<std::string> all = words(reference);
    for (std::size_t i = 0; i + 1 < all.size(); ++i) {
        if (all[i] == "task") {
            if (const auto value = numberOf(all[i + 1], phrases::numberWords.size())) {
                return value;
            }
        }
    }
    if (reference.contains("task")) {
        static const Pattern taskNumber(phrases::taskNumber);
        if (const auto found = taskNumber.find(reference)) {
            const std::string& digits = found->groups[1];
            int value = 0;
            const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
            if (error == std::errc() && end == digits.data() + digits.size()) {
                return value;
            }
        }
    }
    // An ordinal counts only where nothing follows: "the second task", but not "the second task force meeting".
    if (!all.empty()) {
        const bool hasNoun = all.size() > 1 && (all.back() == "task" || all.back() == "one");
        const std::size_t at = all.size() - (hasNoun ? 2 : 1);
        const bool alone = at == 0 || (at == 1 && all[0] == "the");
        if (alone || (hasNoun && all.back() == "task")) {
            return numberOf(all[at], phrases::ordinalCount);
        }
    }
    return std::nullopt;
}

bool isPreviousReference(std::string_view reference) {
    const std::string_view bare = withoutArticle(reference);
    return std::ranges::any_of(phrases::previousTask, [&](std::string_view phrase) {
        return phrase == reference || withoutArticle(phrase) == bare;
    });
}

std::optional<TaskMatch> matchTask(std::string_view reference, const std::vector<TaskInfo>& tasks,
                                   std::string_view fallback, SentenceVectors* vectors) {
    if (tasks.empty()) {
        return std::nullopt;
    }
    const std::string_view text = reference.empty() ? fallback : reference;
    if (const auto position = spokenPosition(text);
        position && *position >= 1 && static_cast<std::size_t>(*position) <= tasks.size()) {
        return match(tasks[static_cast<std::size_t>(*position) - 1], positionConfidence, "position");
    }
    if (tasks.size() >= 2 && isPreviousReference(text)) {
        return match(tasks[1], previousConfidence, "position");
    }
    if (std::ranges::find(phrases::lastTask, text) != phrases::lastTask.end()) {
        return match(tasks.back(), previousConfidence, "position");
    }
    const std::vector<Prepared> prepared = prepare(tasks);
    const std::u32string spelled = characters(text);
    if (auto found = byTitle(prepared, text, spelled.size())) {
        return found;
    }
    if (vectors != nullptr) {
        if (auto found = byMeaning(prepared, text, *vectors)) {
            return found;
        }
    }
    return bySpelling(prepared, spelled);
}

}  // namespace tolvik
