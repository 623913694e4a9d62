#include "server/open_storage.h"

#include <fmt/format.h>

#include "adapters/sqlite_server/sqlite_storage.h"
#include "base/text.h"
#ifdef TOLVIK_HAS_POSTGRES
#include "adapters/postgres/postgres_storage.h"
#endif

namespace tolvik::server {

bool isSharedDatabase(std::string_view database) {
    return database.starts_with("postgresql://") || database.starts_with("postgres://");
}

Result<OpenDatabase, std::string> openStorage(const std::string& database, [[maybe_unused]] std::size_t connections) {
    if (isSharedDatabase(database)) {
#ifdef TOLVIK_HAS_POSTGRES
        auto opened = PostgresStorage::open(database, connections);
        if (!opened) {
            return failure(
                fmt::format("PostgreSQL cannot be used. Check --database and that the database server runs and lets "
                            "this account in. What it says: {}",
                            joined(words(opened.error().text), " ")));
        }
        return OpenDatabase{nullptr, std::move(*opened)};
#else
        return failure(std::string("This build knows no PostgreSQL."));
#endif
    }
    const auto path = database.starts_with("sqlite:") ? database.substr(7) : database;
    auto lock = std::make_unique<StoreLock>(path + ".lock");
    if (lock->tryLock() == StoreLock::Outcome::elsewhere) {
        const auto holder = lock->holder();
        return failure(
            fmt::format("The database {} belongs to another tolvik-server{}. End that one first, or choose another "
                        "file with --data; several instances share one database only with PostgreSQL.",
                        path, holder ? fmt::format(" (process {})", *holder) : std::string()));
    }
    if (!lock->isHeld()) {
        return failure(
            fmt::format("The lock {}.lock cannot be made. Check that its folder is writable for this account.", path));
    }
    auto opened = SqliteStorage::open(path);
    if (!opened) {
        const auto isDamaged = opened.error().kind == StorageProblem::Kind::damaged;
        return failure(fmt::format(
            "The database {} cannot be used: {}.{}", path, opened.error().text,
            isDamaged ? " Choose another with --database." : " Check that it is writable for this account."));
    }
    return OpenDatabase{std::move(lock), std::move(*opened)};
}

}  // namespace tolvik::server
