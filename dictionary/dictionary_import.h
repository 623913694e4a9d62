#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "dictionary/dict_entry.h"

namespace tolvik {

/// A term as it was pasted, trimmed, never empty; the hint may be.
struct ImportTerm {
    std::string term;
    std::string hint;

    bool operator==(const ImportTerm&) const = default;
};

/// Why a text that begins like JSON was taken for plain lines.
struct ImportProblem {
    /// From 1; columns count characters. None when the JSON is whole and holds something else than terms.
    struct Place {
        std::size_t line = 1;
        std::size_t column = 1;
        bool operator==(const Place&) const = default;
    };
    std::optional<Place> place;
    /// A sentence for the user, with the place in it.
    std::string text;
};

/// What a pasted text holds.
struct ParsedImport {
    /// In the order of the text. The same term may come more than once.
    std::vector<ImportTerm> terms;
    bool isJson = false;
    std::optional<ImportProblem> problem;
};

/// Reads a JSON array of objects with "term" and "hint", a JSON array of texts, a JSON object from term to hint, or
/// plain lines of which "Tamsin (team member)" has a hint. Any bytes; what is no JSON of these kinds is plain lines.
[[nodiscard]] ParsedImport parseImport(std::string_view text);

/// The terms that a dictionary does not have yet, and those that it has. Terms are the same when they differ in case
/// only; one that comes twice counts as there the second time.
struct ImportPlan {
    std::vector<ImportTerm> fresh;
    std::vector<std::string> known;
};
/// `tagId` names the dictionary among `existing`; none stands for the personal one.
[[nodiscard]] ImportPlan planImport(std::span<const ImportTerm> terms, std::span<const DictEntry> existing,
                                    const std::optional<Identifier>& tagId);

/// "Imported 1 entry", "Imported 3 entries".
[[nodiscard]] std::string importedText(std::size_t count);

/// What can be pasted, a line each.
inline constexpr std::array<std::string_view, 5> importHelp{
    "Paste JSON or plain text. Supported formats:",         R"(• ["Tamsin", "indexer", "Brivio"])",
    R"(• {"Tamsin": "team member", "indexer": "service"})", R"(• [{"term": "Tamsin", "hint": "team member"}])",
    "• Plain text, one per line: Tamsin (team member)",
};

}  // namespace tolvik
