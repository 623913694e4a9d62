#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "core/dict_entry.h"

namespace tolvik {

/// The vocabulary as one value: terms in the order in which they were added, and the project whose terms count.
struct DictStorage {
    std::vector<DictEntry> entries;
    std::optional<Identifier> activeTagId;

    bool operator==(const DictStorage&) const = default;
};

/// {"entries":[{"id","term","hint","tagId"}…],"activeTagId"}; absent values are left out.
[[nodiscard]] std::string encodeStorage(const DictStorage& storage);
/// Likewise, out of the entries as a JSON array.
[[nodiscard]] std::string encodeStorage(std::string_view entries, const std::optional<Identifier>& activeTagId);
/// None when a required member is missing or of another type. Any bytes.
[[nodiscard]] std::optional<DictStorage> decodeStorage(std::string_view json);

}  // namespace tolvik
