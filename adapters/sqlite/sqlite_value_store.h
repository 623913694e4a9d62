#pragma once

#include <memory>
#include <optional>
#include <string>

#include "core/value_store.h"

namespace tolvik {

/// The defaults store in one SQLite file. A committed batch survives a power cut: write-ahead log, synced at each
/// commit. The caller holds the StoreLock beside the file; the file is locked to this process besides.
///
/// Construction always succeeds. Where the file cannot be opened for writing it is read if it can be, and each commit
/// tries to open it anew, so that what waits in memory is saved once the disk allows it.
class SqliteValueStore final : public ValueStore {
public:
    struct Options {
        /// Name of the SQLite file system to use; for tests. None stands for the usual one.
        std::optional<std::string> fileSystem;
        /// Writes the log back into the file when closing. A command that makes one change leaves that to the next
        /// process, which saves it two syncs.
        bool checkpointOnClose = true;
        /// Pages of write-ahead log before it is written back within a commit.
        int checkpointPages = 1000;
    };

    /// Opens or creates the file; its folder is made when missing. A file that is no database, or too damaged to be
    /// opened, is moved aside to `path` + ".damaged-" + time and a new one begun; see `movedAside`.
    explicit SqliteValueStore(std::string path);
    SqliteValueStore(std::string path, Options options);
    ~SqliteValueStore() override;

    /// Why the file is not open for writing, if it is not.
    [[nodiscard]] std::optional<StoreError> openProblem() const;
    /// Where a damaged file went when this one was opened.
    [[nodiscard]] std::optional<std::string> movedAside() const;

    [[nodiscard]] Result<std::optional<std::string>, StoreError> get(std::string_view key) const override;
    [[nodiscard]] Result<std::vector<std::string>, StoreError> keys() const override;
    [[nodiscard]] Result<std::vector<PieceInfo>, StoreError> pieces(std::string_view key) const override;
    [[nodiscard]] Result<std::string, StoreError> piece(std::string_view key, std::int64_t id) const override;
    Result<void, StoreError> eachPiece(
        std::string_view key,
        const std::function<void(const PieceInfo&, std::string_view bytes)>& visit) const override;
    [[nodiscard]] Result<std::vector<JournalItem>, StoreError> journal(std::string_view name) const override;
    [[nodiscard]] Result<void, StoreError> commit(const WriteBatch& batch) override;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik
