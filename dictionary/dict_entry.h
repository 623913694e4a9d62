#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/identifier.h"
#include "base/time.h"

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

/// The vocabulary as it is kept: terms in the order in which they were added, and the project whose terms count.
struct DictStorage {
    std::vector<DictEntry> entries;
    std::optional<Identifier> activeTagId;

    bool operator==(const DictStorage&) const = default;
};

/// {"entries":[{"id","term","hint","tagId"}…],"activeTagId"}; absent values are left out.
[[nodiscard]] std::string encodeStorage(const DictStorage& storage);
/// None when a required member is missing or of another type. Any bytes.
[[nodiscard]] std::optional<DictStorage> decodeStorage(std::string_view json);

}  // namespace tolvik
