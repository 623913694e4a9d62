#pragma once

#include <memory>
#include <string>

#include "server/storage/storage.h"

namespace tolvik::server {

/// The server's memory in one SQLite file: write-ahead log, synced at each commit, one writer at a time, readers on
/// connections of their own. One process at a time.
class SqliteStorage final : public Storage {
public:
    struct Options {
        /// Without it a power cut may take the last commits (never the file); for tests and simulations.
        bool syncs = true;
    };

    /// Opens or creates the file and brings it to the present version; ":memory:" stands for one that goes with the
    /// object. Fails with a reason for the operator.
    [[nodiscard]] static Result<std::unique_ptr<SqliteStorage>, StorageProblem> open(const std::string& path,
                                                                                     Options options);
    [[nodiscard]] static Result<std::unique_ptr<SqliteStorage>, StorageProblem> open(const std::string& path) {
        return open(path, Options{});
    }
    ~SqliteStorage() override;

    [[nodiscard]] std::vector<Result<void, StorageProblem>> transact(std::span<const Work> units) override;
    [[nodiscard]] Result<void, StorageProblem> read(const Work& unit) override;
    [[nodiscard]] std::size_t lanes() const override { return 1; }
    [[nodiscard]] Result<void, StorageProblem> check() override;
    /// There are no other instances: never called back.
    void onAnnouncement(std::function<void(const Announcement&)>) override {}
    void onEnded(std::function<void(const EndedSession&)>) override {}
    void onGap(std::function<void()>) override {}

    /// Writes the log back into the file, for example before a backup or at the end.
    [[nodiscard]] Result<void, StorageProblem> checkpoint();

private:
    struct Impl;
    explicit SqliteStorage(std::unique_ptr<Impl> impl);

    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik::server
