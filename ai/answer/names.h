#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ai/answer/answer.h"

namespace tolvik {

/// What a name in a question stands for: a project, or all tasks of one title.
struct Subject {
    bool isProject = false;
    /// As it is written in the log.
    std::string name;
    /// Of the tasks, or of the projects of that name; sorted.
    std::vector<Identifier> ids;

    bool operator==(const Subject&) const = default;
};

struct NameMatch {
    enum class Quality : std::uint8_t {
        exact,    ///< the whole name, regardless of case and punctuation
        partial,  ///< words in a row of one name alone
        near,     ///< one or two slips of spelling away from one name alone
        several,  ///< more than one name fits
        none,
    };
    Quality quality = Quality::none;
    Subject subject;
    /// When several fit: their names, as they are written.
    std::vector<std::string> candidates;
};

/// The names of a log. It outlives the log's texts no longer than needed: names are copied.
class NameBook {
public:
    explicit NameBook(const AnswerLog& log);

    /// `words` as they stand in the question, with "the", "project" or "task" around the name. `isQuoted`: only a whole
    /// name fits.
    [[nodiscard]] NameMatch find(std::string_view words, bool isQuoted) const;

private:
    struct Entry {
        std::string key;
        Subject subject;
    };
    enum class Wanted : std::uint8_t { any, project, task };
    [[nodiscard]] NameMatch exact(const std::string& key, Wanted wanted) const;
    [[nodiscard]] NameMatch loose(const std::string& key, Wanted wanted) const;

    std::vector<Entry> entries_;
};

}  // namespace tolvik
