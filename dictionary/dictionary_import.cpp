#include "dictionary/dictionary_import.h"

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "base/text.h"

namespace tolvik {
namespace {

using Json = nlohmann::json;
using RawTerms = std::vector<ImportTerm>;

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

/// Follows the parser and keeps what each of the three forms would make of the text.
class FormReader final : public nlohmann::json_sax<Json> {
public:
    bool null() override {
        if (inItemText() && member_ == Member::hint) {
            return true;
        }
        return misplaced();
    }
    bool boolean(bool) override { return misplaced(); }
    bool number_integer(number_integer_t) override { return misplaced(); }
    bool number_unsigned(number_unsigned_t) override { return misplaced(); }
    bool number_float(number_float_t, const string_t&) override { return misplaced(); }
    bool binary(binary_t&) override { return misplaced(); }

    bool string(string_t& value) override {
        if (depth_ == 1 && topIsArray_) {
            ++items_;
            objects_ = false;
            noteOdd(texts_);
            list_.push_back({std::move(value), {}});
        } else if (depth_ == 1) {
            ++items_;
            takeMember(std::move(value));
        } else if (inItemText()) {
            if (member_ == Member::term) {
                item_.term = std::move(value);
                hasTerm_ = true;
            } else {
                item_.hint = std::move(value);
            }
        } else if (depth_ == 0) {
            texts_ = objects_ = members_ = false;
        }
        return true;
    }
    bool key(string_t& name) override {
        if (depth_ == 1) {
            key_ = std::move(name);
        } else if (depth_ == 2) {
            member_ = name == "term" ? Member::term : name == "hint" ? Member::hint : Member::other;
        }
        return true;
    }
    bool start_object(std::size_t) override {
        if (depth_ == 0) {
            texts_ = objects_ = false;
        } else if (depth_ == 1 && topIsArray_) {
            ++items_;
            texts_ = false;
            noteOdd(objects_);
            item_ = {};
            hasTerm_ = false;
            member_ = Member::other;
        } else {
            misplaced();
        }
        ++depth_;
        return true;
    }
    bool end_object() override {
        --depth_;
        if (depth_ == 1 && topIsArray_) {
            objects_ = objects_ && hasTerm_;
            noteOdd(objects_ || texts_);
            list_.push_back(std::move(item_));
        }
        return true;
    }
    bool start_array(std::size_t) override {
        if (depth_ == 0) {
            topIsArray_ = true;
            members_ = false;
        } else {
            misplaced();
        }
        ++depth_;
        return true;
    }
    bool end_array() override {
        --depth_;
        return true;
    }
    bool parse_error(std::size_t position, const std::string& token, const nlohmann::detail::exception&) override {
        broken_ = std::pair(position, token);
        return false;
    }

    [[nodiscard]] bool fits() const { return !broken_ && (objects_ || texts_ || members_); }
    [[nodiscard]] RawTerms take() { return std::move(list_); }
    /// The first place that is no JSON, counted in bytes from 1, and what stands there.
    [[nodiscard]] const std::optional<std::pair<std::size_t, std::string>>& broken() const { return broken_; }
    /// The first item, from 1, that fits no form.
    [[nodiscard]] std::size_t oddItem() const { return odd_; }

private:
    enum class Member : std::uint8_t { term, hint, other };

    [[nodiscard]] bool inItemText() const { return depth_ == 2 && topIsArray_ && member_ != Member::other; }
    void noteOdd(bool fitsStill) {
        if (!fitsStill && odd_ == 0) {
            odd_ = items_;
        }
    }
    bool misplaced() {
        if (depth_ == 0) {
            texts_ = objects_ = members_ = false;
        } else if (depth_ == 1) {
            ++items_;
            texts_ = objects_ = members_ = false;
            noteOdd(false);
        } else if (inItemText()) {
            objects_ = false;
            noteOdd(false);
        }
        return true;
    }
    /// A name that comes again keeps its place and takes the later text, as JSON readers do.
    void takeMember(std::string value) {
        const auto [at, isNew] = places_.try_emplace(key_, list_.size());
        if (isNew) {
            list_.push_back({key_, std::move(value)});
        } else {
            list_[at->second].hint = std::move(value);
        }
    }

    std::size_t depth_ = 0;
    std::size_t items_ = 0;
    std::size_t odd_ = 0;
    bool topIsArray_ = false;
    bool texts_ = true;
    bool objects_ = true;
    bool members_ = true;
    RawTerms list_;
    std::unordered_map<std::string, std::size_t> places_;
    std::string key_;
    ImportTerm item_;
    Member member_ = Member::other;
    bool hasTerm_ = false;
    std::optional<std::pair<std::size_t, std::string>> broken_;
};

ImportProblem::Place placeOf(std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, offset);
    const auto lineStart = before.rfind('\n') == std::string_view::npos ? 0 : before.rfind('\n') + 1;
    return {.line = static_cast<std::size_t>(std::ranges::count(before, '\n')) + 1,
            .column = graphemeCount(before.substr(lineStart)) + 1};
}

ImportProblem problemOf(std::string_view text, const FormReader& reader) {
    if (!reader.broken()) {
        return {std::nullopt, reader.oddItem() > 0
                                  ? fmt::format("Entry {} of this JSON has another form.", reader.oddItem())
                                  : "This JSON has another form."};
    }
    const auto& [position, token] = *reader.broken();
    const std::size_t offset = std::min(position == 0 ? 0 : position - 1, text.size());
    const auto place = placeOf(text, offset);
    const bool ended = position > text.size();
    const std::string what = ended ? "the text ends too early" : "something is missing or too much";
    return {place, fmt::format("This JSON breaks at line {}, column {}: {}.", place.line, place.column, what)};
}

/// The lines of a plain text, without their ends.
std::vector<std::string_view> linesOf(std::string_view text) {
    // Next line, line separator and paragraph separator, besides those of ASCII.
    constexpr std::array<std::string_view, 7> ends{"\n", "\r", "\v", "\f", "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9"};
    std::vector<std::string_view> lines;
    std::size_t start = 0;
    for (std::size_t i = 0; i < text.size();) {
        const auto end = std::ranges::find_if(ends, [&](auto one) { return text.substr(i).starts_with(one); });
        if (end == ends.end()) {
            ++i;
            continue;
        }
        lines.push_back(text.substr(start, i - start));
        i += end->size();
        start = i;
    }
    lines.push_back(text.substr(start));
    return lines;
}

RawTerms plainTerms(std::string_view text) {
    RawTerms terms;
    for (const std::string_view raw : linesOf(text)) {
        const std::string line = trimmed(raw);
        const auto open = line.ends_with(')') ? line.rfind('(') : std::string::npos;
        if (open == std::string::npos) {
            terms.push_back({line, {}});
        } else {
            terms.push_back({line.substr(0, open), line.substr(open + 1, line.size() - open - 2)});
        }
    }
    return terms;
}

}  // namespace

ParsedImport parseImport(std::string_view text) {
    if (text.starts_with(byteOrderMark)) {
        text.remove_prefix(byteOrderMark.size());
    }
    const std::string valid = toValidUtf8(text);
    ParsedImport parsed;
    FormReader reader;
    const auto first = valid.find_first_not_of(" \t\r\n");
    const bool looksLikeJson = first != std::string::npos && (valid[first] == '[' || valid[first] == '{');
    if (looksLikeJson) {
        (void)Json::sax_parse(valid, &reader);
        parsed.isJson = reader.fits();
        if (!parsed.isJson) {
            parsed.problem = problemOf(valid, reader);
        }
    }
    for (auto& [term, hint] : parsed.isJson ? reader.take() : plainTerms(valid)) {
        if (std::string kept = trimmed(term); !kept.empty()) {
            parsed.terms.push_back({std::move(kept), trimmed(hint)});
        }
    }
    return parsed;
}

ImportPlan planImport(std::span<const ImportTerm> terms, std::span<const DictEntry> existing,
                      const std::optional<Identifier>& tagId) {
    std::unordered_set<std::string> seen;
    for (const DictEntry& entry : existing) {
        if (entry.tagId == tagId) {
            seen.insert(caseFolded(entry.term));
        }
    }
    ImportPlan plan;
    for (const ImportTerm& term : terms) {
        if (seen.insert(caseFolded(term.term)).second) {
            plan.fresh.push_back(term);
        } else {
            plan.known.push_back(term.term);
        }
    }
    return plan;
}

std::string importedText(std::size_t count) {
    return fmt::format("Imported {} {}", count, count == 1 ? "entry" : "entries");
}

}  // namespace tolvik
