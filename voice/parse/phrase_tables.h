#pragma once

#include <array>
#include <span>
#include <string_view>
#include <utility>

/// What people say around the name of a task. Fixed, ordered and all lower-case: the order decides where more than one
/// row fits. Patterns are in ICU syntax and are searched in a normalised sentence.
namespace tolvik::phrases {

extern const std::span<const std::string_view> startPatterns;
/// Some rows fire anywhere in the sentence.
extern const std::span<const std::string_view> switchPatterns;
extern const std::span<const std::string_view> donePatterns;
/// Asked before `donePatterns`, with which it overlaps.
extern const std::span<const std::string_view> stopPatterns;

/// What follows the match is an optional reference: "stop working on the report".
inline constexpr std::string_view stopExtraction =
    R"(^(?:stop|pause|stopping|pausing)(?:\s+(?:working on|work on|the|on))?\s*)";
/// What follows the match is the task that is done: "i'm done with the slides".
inline constexpr std::string_view doneExtraction =
    R"(^(?:(?:i'?m|i am|that'?s|it'?s|all)\s+)?(?:done|finished|completed|complete|finalized|finalize|wrapped up|wrap up|checked off|check off|shipped|landed)(?:\s+(?:with|on))?\s*)";
inline constexpr std::string_view taskNumber = R"(task\s*(?:number\s*)?(\d+))";

/// Phrases that introduce a task, each with its final blank; the first that fits is cut.
extern const std::span<const std::string_view> referencePrefixes;
/// Cut once from the front of a reference.
extern const std::span<const std::string_view> leadingArticles;
/// Cut from the end, repeatedly, each with its first blank.
extern const std::span<const std::string_view> trailingFillers;
/// Dropped wherever they stand as whole words.
extern const std::span<const std::string_view> spokenFillers;
/// A reference of nothing but these means the running task.
extern const std::span<const std::string_view> emptyReferences;
/// Words that are never corrected towards a title.
extern const std::span<const std::string_view> commandVocabulary;
/// "the one before" and its like.
extern const std::span<const std::string_view> previousTask;
/// The oldest candidate.
extern const std::span<const std::string_view> lastTask;
/// Ordinals first (`ordinalCount` of them), then cardinals.
extern const std::span<const std::pair<std::string_view, int>> numberWords;
inline constexpr std::size_t ordinalCount = 12;

/// Sentences that stand for an intent, for comparison by meaning.
struct Anchors {
    std::string_view intent;
    std::array<std::string_view, 8> sentences;
};
extern const std::span<const Anchors> anchors;

}  // namespace tolvik::phrases
