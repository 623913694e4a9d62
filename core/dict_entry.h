#pragma once

#include <optional>
#include <string>

#include "base/identifier.h"

namespace tolvik {

/// One term of the user's vocabulary. Personal when it belongs to no project.
struct DictEntry {
    Identifier id;
    std::string term;
    /// What the term is, such as a person's role; may be empty.
    std::string hint;
    std::optional<Identifier> tagId;

    bool operator==(const DictEntry&) const = default;
};

}  // namespace tolvik
