#include "adapters/sqlite_server/sqlite_storage.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "adapters/sqlite_server/sqlite_connection.h"
#include "server/storage/transaction.h"

namespace tolvik::server {

struct SqliteStorage::Impl {
    std::string path;
    std::mutex writing;
    SqliteConnection writer;
    std::mutex readersGuard;
    /// Idle readers; one is opened when none is idle.
    std::vector<std::unique_ptr<SqliteConnection>> readers;
    static constexpr std::size_t mostIdleReaders = 4;

    [[nodiscard]] bool isInMemory() const { return path == ":memory:"; }

    Result<std::unique_ptr<SqliteConnection>, StorageProblem> takeReader() {
        {
            const std::scoped_lock lock(readersGuard);
            if (!readers.empty()) {
                auto out = std::move(readers.back());
                readers.pop_back();
                return out;
            }
        }
        auto out = std::make_unique<SqliteConnection>();
        if (const int code = out->open(path, false, false); code != SQLITE_OK) {
            return failure(problemOf(out->handle(), code));
        }
        return out;
    }
    void giveBack(std::unique_ptr<SqliteConnection> reader) {
        const std::scoped_lock lock(readersGuard);
        if (readers.size() < mostIdleReaders) {
            readers.push_back(std::move(reader));
        }
    }

    Result<void, StorageProblem> begin() {
        if (const int code = writer.repeat("BEGIN IMMEDIATE"); code != SQLITE_OK) {
            return failure(problemOf(writer.handle(), code));
        }
        return {};
    }

    /// Runs one unit in a savepoint. After a failure the transaction itself may be gone.
    Result<void, StorageProblem> runUnit(const Work& unit) {
        if (const int code = writer.repeat("SAVEPOINT unit"); code != SQLITE_OK) {
            return failure(problemOf(writer.handle(), code));
        }
        Transaction transaction(writer);
        unit(transaction);
        if (auto problem = writer.takeProblem()) {
            writer.repeat("ROLLBACK TO unit");
            writer.repeat("RELEASE unit");
            return failure(*std::move(problem));
        }
        writer.repeat("RELEASE unit");
        return {};
    }

    static Result<void, StorageProblem> runOn(SqliteConnection& connection, const Work& unit, const char* begin) {
        if (const int code = connection.repeat(begin); code != SQLITE_OK) {
            return failure(problemOf(connection.handle(), code));
        }
        Transaction transaction(connection);
        unit(transaction);
        auto problem = connection.takeProblem();
        connection.repeat("ROLLBACK");
        if (problem) {
            return failure(*std::move(problem));
        }
        return {};
    }
};

SqliteStorage::SqliteStorage(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

SqliteStorage::~SqliteStorage() = default;

Result<std::unique_ptr<SqliteStorage>, StorageProblem> SqliteStorage::open(const std::string& path, Options options) {
    auto impl = std::make_unique<Impl>();
    impl->path = path;
    if (const int code = impl->writer.open(path, true, options.syncs); code != SQLITE_OK) {
        return failure(problemOf(impl->writer.handle(), code));
    }
    if (auto problem = impl->writer.migrate()) {
        return failure(*std::move(problem));
    }
    return std::unique_ptr<SqliteStorage>(new SqliteStorage(std::move(impl)));
}

std::vector<Result<void, StorageProblem>> SqliteStorage::transact(std::span<const Work> units) {
    std::vector<Result<void, StorageProblem>> out(units.size());
    const std::scoped_lock lock(impl_->writing);
    if (auto begun = impl_->begin(); !begun) {
        std::ranges::fill(out, begun);
        return out;
    }
    for (std::size_t i = 0; i < units.size(); ++i) {
        out[i] = impl_->runUnit(units[i]);
        // A full disk can end the whole transaction; nothing of it is kept then.
        if (!out[i] && sqlite3_get_autocommit(impl_->writer.handle()) != 0) {
            const auto problem = out[i];
            std::ranges::fill(out, problem);
            return out;
        }
    }
    if (const int code = impl_->writer.repeat("COMMIT"); code != SQLITE_OK) {
        const StorageProblem problem = problemOf(impl_->writer.handle(), code);
        impl_->writer.repeat("ROLLBACK");
        std::ranges::fill(out, Result<void, StorageProblem>(failure(problem)));
    }
    return out;
}

Result<void, StorageProblem> SqliteStorage::read(const Work& unit) {
    if (impl_->isInMemory()) {
        const std::scoped_lock lock(impl_->writing);
        impl_->writer.onlyReads(true);
        auto out = Impl::runOn(impl_->writer, unit, "BEGIN");
        impl_->writer.onlyReads(false);
        return out;
    }
    auto reader = impl_->takeReader();
    if (!reader) {
        return failure(std::move(reader).error());
    }
    auto out = Impl::runOn(**reader, unit, "BEGIN");
    if (out) {
        impl_->giveBack(*std::move(reader));
    }
    return out;
}

Result<void, StorageProblem> SqliteStorage::check() {
    const std::scoped_lock lock(impl_->writing);
    if (const int code = impl_->writer.execute("SELECT number FROM account LIMIT 1"); code != SQLITE_OK) {
        return failure(problemOf(impl_->writer.handle(), code));
    }
    return {};
}

Result<void, StorageProblem> SqliteStorage::checkpoint() {
    const std::scoped_lock lock(impl_->writing);
    const int code =
        sqlite3_wal_checkpoint_v2(impl_->writer.handle(), nullptr, SQLITE_CHECKPOINT_TRUNCATE, nullptr, nullptr);
    if (code != SQLITE_OK) {
        return failure(problemOf(impl_->writer.handle(), code));
    }
    return {};
}

}  // namespace tolvik::server
