#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"
#include "base/time.h"
#include "sync/outbox_op.h"

namespace tolvik {

/// The operations of an outbox file; none when it is missing. A file that does not decode counts as empty and is
/// moved aside (name + ".unreadable-" + time). Any thread, one caller at a time.
[[nodiscard]] std::vector<OutboxOp> readOutboxFile(const std::string& path, Instant now);

/// Replaces the file as a whole; with no operations it is removed. With `sync` it is on the disk when this returns.
/// False when the disk refused, and then the file is as before.
[[nodiscard]] bool writeOutboxFile(const std::string& path, const std::vector<OutboxOp>& ops, bool sync);

/// Replaces a file as a whole, readable for its owner only; with `sync` it is on the disk when this returns. False when
/// the disk refused, and then the file is as before.
[[nodiscard]] bool replaceDurably(const std::filesystem::path& path, std::string_view bytes, bool sync);

}  // namespace tolvik
