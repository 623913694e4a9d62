#pragma once

#include <array>
#include <memory>
#include <optional>
#include <string>

#include "server/storage/sql_session.h"
#include "server/storage/storage.h"

struct pg_conn;

namespace tolvik::server {

/// One connection to the database with its prepared statements. One thread at a time.
class PostgresConnection final : public SqlSession {
public:
    /// `instance` marks what this process announces.
    PostgresConnection(std::string address, std::string instance);
    ~PostgresConnection() override;

    /// Connects, or connects anew after the connection was lost. Does nothing while it is there.
    [[nodiscard]] std::optional<StorageProblem> connect();
    [[nodiscard]] bool isLost() const;
    /// The socket to wait on for notices; -1 while there is no connection.
    [[nodiscard]] int socket() const;

    /// Runs statements without parameters; false after a failure, which `takeProblem` tells.
    bool execute(const std::string& sql);
    /// The number that a statement gives; none when it gives none or fails.
    [[nodiscard]] std::optional<std::int64_t> numberOf(const std::string& sql);
    /// Brings the tables to the present version, one instance at a time.
    [[nodiscard]] std::optional<StorageProblem> migrate();

    /// With it, locks that others hold end the unit with `wantsRetry` and are not waited for: who holds locks already
    /// must not wait.
    void neverWait(bool never) { neverWaits_ = never; }

    std::int64_t run(Sql statement, std::initializer_list<Value> values, const EachRow& each) override;
    void lockAccount(std::int64_t account) override;
    void announce(const Announcement& announcement) override;
    void announce(const EndedSession& ended) override;

    struct Problem {
        StorageProblem problem;
        /// The same again may go well.
        bool wantsRetry = false;
    };
    /// The first failure since the last call, if there was one.
    [[nodiscard]] std::optional<Problem> takeProblem();

    /// What arrived since the last call: payloads of other instances' notices.
    [[nodiscard]] std::vector<std::string> takeNotices();

private:
    struct Closer {
        void operator()(pg_conn* connection) const;
    };
    void notify(std::string_view kind, const std::string& userId, const std::string& deviceId);
    bool prepare(std::size_t index);
    /// Keeps the failure that the result tells.
    void fail(const void* result);

    std::string address_;
    std::string instance_;
    std::unique_ptr<pg_conn, Closer> connection_;
    std::array<bool, sqlCount> prepared_{};
    std::optional<Problem> problem_;
    bool neverWaits_ = false;
};

}  // namespace tolvik::server
