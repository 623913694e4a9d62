#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/value_store.h"

namespace tolvik {

/// Journal items of megabytes are kept in files beside the queue's, made durable by a worker before the transaction
/// that names them, so that the transaction stays small. A file that no journal names means nothing.

/// Writes `bytes` durably to a file that begins with `prefix` (a path); the item that stands for it, none when the disk
/// refuses. Any thread.
[[nodiscard]] std::optional<std::string> writeBulkFile(const std::string& prefix, std::string_view id,
                                                       std::string_view bytes);
/// The file that an item stands for; none for any other item.
[[nodiscard]] std::optional<std::string> bulkFileOf(std::string_view item);
/// An item's bytes, or those of the file that it stands for; empty when that cannot be read.
[[nodiscard]] std::string bulkContent(const std::string& folder, const std::string& item);
/// Removes files that begin with `prefix` and are not among `named`.
void removeBulkFiles(const std::string& prefix, const std::set<std::string>& named);

}  // namespace tolvik
