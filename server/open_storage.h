#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "adapters/sqlite/store_lock.h"
#include "base/result.h"
#include "server/storage/storage.h"

namespace tolvik::server {

/// Whether the text names a database server that several instances can share.
[[nodiscard]] bool isSharedDatabase(std::string_view database);

/// An open database. A SQLite file is this process's alone for as long as the lock lives: another server's streams
/// would hear of no change that is made here.
struct OpenDatabase {
    std::unique_ptr<StoreLock> lock;
    std::unique_ptr<Storage> storage;
};

/// Opens what the text names: postgresql://… or a SQLite file (with or without sqlite: before it). `connections` is
/// for PostgreSQL. The error says what to do and holds no password.
[[nodiscard]] Result<OpenDatabase, std::string> openStorage(const std::string& database, std::size_t connections);

}  // namespace tolvik::server
