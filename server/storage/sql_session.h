#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string_view>
#include <variant>

#include "server/storage/statements.h"

namespace tolvik::server {

struct Announcement;
struct EndedSession;

/// One row of an answer; good only while it is visited.
class SqlRow {
public:
    SqlRow() = default;
    SqlRow(const SqlRow&) = delete;
    SqlRow& operator=(const SqlRow&) = delete;
    virtual ~SqlRow() = default;

    [[nodiscard]] virtual bool isNull(int column) const = 0;
    /// 0 for a null.
    [[nodiscard]] virtual std::int64_t integer(int column) const = 0;
    /// Empty for a null.
    [[nodiscard]] virtual std::string_view text(int column) const = 0;
};

/// A database connection inside a transaction: what the shared statements need of it. One thread. After a failure
/// nothing is done any more and every call fails; the storage reports the reason when the unit ends.
class SqlSession {
public:
    SqlSession() = default;
    SqlSession(const SqlSession&) = delete;
    SqlSession& operator=(const SqlSession&) = delete;
    virtual ~SqlSession() = default;

    /// Null, a whole number, or UTF-8 text without NUL that lives until the call returns.
    using Value = std::variant<std::monostate, std::int64_t, std::string_view>;
    using EachRow = std::function<void(const SqlRow&)>;

    /// Runs a prepared statement; its rows are visited in order. The number of rows changed (of no meaning for a
    /// query), or -1 after a failure.
    virtual std::int64_t run(Sql statement, std::initializer_list<Value> values, const EachRow& each = nullptr) = 0;

    /// Keeps other transactions off the account until this one ends.
    virtual void lockAccount(std::int64_t account) = 0;

    /// Told to the other instances when the transaction is durable.
    virtual void announce(const Announcement& announcement) = 0;
    virtual void announce(const EndedSession& ended) = 0;
};

}  // namespace tolvik::server
