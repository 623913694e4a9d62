#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "server/storage/storage.h"

namespace tolvik::server {

/// The server's memory in a PostgreSQL database (15 or newer) that any number of instances share. Units of one call
/// share a transaction; an account is changed by one transaction at a time. A lost connection is made anew with the
/// next unit.
class PostgresStorage final : public Storage {
public:
    /// Connects and brings the tables to the present version. `address` is a libpq connection text or address,
    /// `connections` the number of transactions that write at the same time; two more connections read and one listens.
    [[nodiscard]] static Result<std::unique_ptr<PostgresStorage>, StorageProblem> open(const std::string& address,
                                                                                       std::size_t connections);
    /// Stops listening; no callback runs any more when it returns.
    ~PostgresStorage() override;

    [[nodiscard]] std::vector<Result<void, StorageProblem>> transact(std::span<const Work> units) override;
    [[nodiscard]] Result<void, StorageProblem> read(const Work& unit) override;
    [[nodiscard]] std::size_t lanes() const override;
    [[nodiscard]] Result<void, StorageProblem> check() override;
    void onAnnouncement(std::function<void(const Announcement&)> told) override;
    void onEnded(std::function<void(const EndedSession&)> told) override;
    void onGap(std::function<void()> told) override;

private:
    struct Impl;
    explicit PostgresStorage(std::unique_ptr<Impl> impl);

    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik::server
