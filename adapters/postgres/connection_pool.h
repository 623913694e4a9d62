#pragma once

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "adapters/postgres/postgres_connection.h"

namespace tolvik::server {

/// Connections that are lent to one user at a time; made when they are first needed. Any thread.
class ConnectionPool {
public:
    ConnectionPool(std::string address, std::string instance, std::size_t most)
        : address_(std::move(address)), instance_(std::move(instance)), left_(most) {}

    /// A connection on loan; it goes back when this ends.
    class Loan {
    public:
        Loan(ConnectionPool& pool, std::unique_ptr<PostgresConnection> connection)
            : pool_(pool), connection_(std::move(connection)) {}
        Loan(const Loan&) = delete;
        Loan& operator=(const Loan&) = delete;
        ~Loan() { pool_.giveBack(std::move(connection_)); }
        [[nodiscard]] PostgresConnection& operator*() const { return *connection_; }
        [[nodiscard]] PostgresConnection* operator->() const { return connection_.get(); }

    private:
        ConnectionPool& pool_;
        std::unique_ptr<PostgresConnection> connection_;
    };

    /// Waits while all are lent.
    [[nodiscard]] Loan take() {
        std::unique_lock lock(guard_);
        returned_.wait(lock, [&] { return !idle_.empty() || left_ > 0; });
        if (idle_.empty()) {
            --left_;
            return {*this, std::make_unique<PostgresConnection>(address_, instance_)};
        }
        auto out = std::move(idle_.back());
        idle_.pop_back();
        return {*this, std::move(out)};
    }

private:
    void giveBack(std::unique_ptr<PostgresConnection> connection) {
        const std::scoped_lock lock(guard_);
        idle_.push_back(std::move(connection));
        returned_.notify_one();
    }

    std::string address_;
    std::string instance_;
    std::mutex guard_;
    std::condition_variable returned_;
    std::vector<std::unique_ptr<PostgresConnection>> idle_;
    std::size_t left_;
};

}  // namespace tolvik::server
