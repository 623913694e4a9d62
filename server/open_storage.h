#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "base/result.h"
#include "server/storage/storage.h"

namespace tolvik::server {

/// Whether the text names a database server that several instances can share.
[[nodiscard]] bool isSharedDatabase(std::string_view database);

/// Opens what the text names: postgresql://… or a SQLite file (with or without sqlite: before it). `connections` is
/// for PostgreSQL. The error says what to do and holds no password.
[[nodiscard]] Result<std::unique_ptr<Storage>, std::string> openStorage(const std::string& database,
                                                                        std::size_t connections);

}  // namespace tolvik::server
