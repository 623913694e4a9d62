#include "adapters/postgres/postgres_storage.h"

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include "adapters/postgres/connection_pool.h"
#include "adapters/postgres/notice_listener.h"
#include "server/storage/transaction.h"

namespace tolvik::server {
namespace {

constexpr std::size_t readers = 2;
constexpr int mostTries = 8;
/// More subtransactions than a backend keeps at hand make every reader slower.
constexpr std::size_t mostTogether = 48;

using UnitResult = Result<void, StorageProblem>;

std::string newInstance() {
    std::random_device device;
    return std::to_string(device()) + "-" + std::to_string(device());
}

/// Runs units in one transaction, each in a savepoint. The indexes of those that want to be tried again are returned.
std::vector<std::size_t> runTogether(PostgresConnection& connection, std::span<const Storage::Work> units,
                                     std::span<UnitResult> out) {
    std::vector<std::size_t> again;
    const auto failAll = [&] {
        const auto problem = connection.takeProblem().value_or(PostgresConnection::Problem{});
        again.clear();
        for (std::size_t i = 0; i < units.size(); ++i) {
            out[i] = failure(problem.problem);
            if (problem.wantsRetry) {
                again.push_back(i);
            }
        }
        if (!connection.isLost()) {
            connection.execute("ROLLBACK");
            static_cast<void>(connection.takeProblem());
        }
    };
    if (!connection.execute("BEGIN; SAVEPOINT unit")) {
        failAll();
        return again;
    }
    for (std::size_t i = 0; i < units.size(); ++i) {
        connection.neverWait(i > 0);
        Transaction transaction(connection);
        units[i](transaction);
        out[i] = {};
        const char* end = "RELEASE unit; SAVEPOINT unit";
        if (auto problem = connection.takeProblem()) {
            out[i] = failure(problem->problem);
            if (problem->wantsRetry) {
                again.push_back(i);
            }
            end = "ROLLBACK TO unit";
        }
        const bool isLast = i + 1 == units.size();
        if (!connection.execute(isLast ? (out[i] ? "COMMIT" : "ROLLBACK TO unit; COMMIT") : end)) {
            failAll();
            return again;
        }
    }
    return again;
}

}  // namespace

struct PostgresStorage::Impl {
    Impl(const std::string& address, const std::string& instance, std::size_t writers)
        : lanes(writers), pool(address, instance, writers + readers), listener(address, instance) {}

    std::size_t lanes;
    ConnectionPool pool;
    NoticeListener listener;
};

PostgresStorage::PostgresStorage(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}

PostgresStorage::~PostgresStorage() = default;

Result<std::unique_ptr<PostgresStorage>, StorageProblem> PostgresStorage::open(const std::string& address,
                                                                               std::size_t connections) {
    const std::string instance = newInstance();
    PostgresConnection first(address, instance);
    if (auto problem = first.connect()) {
        return failure(*std::move(problem));
    }
    if (auto problem = first.migrate()) {
        return failure(*std::move(problem));
    }
    return std::unique_ptr<PostgresStorage>(
        new PostgresStorage(std::make_unique<Impl>(address, instance, std::max<std::size_t>(connections, 1))));
}

std::vector<UnitResult> PostgresStorage::transact(std::span<const Work> units) {
    std::vector<UnitResult> out(units.size());
    const auto connection = impl_->pool.take();
    std::vector<std::size_t> again;
    for (std::size_t begin = 0; begin < units.size(); begin += mostTogether) {
        const std::size_t count = std::min(mostTogether, units.size() - begin);
        if (auto problem = connection->connect()) {
            std::fill_n(out.begin() + static_cast<std::ptrdiff_t>(begin), count, UnitResult(failure(*problem)));
            continue;
        }
        for (const std::size_t i :
             runTogether(*connection, units.subspan(begin, count), std::span(out).subspan(begin, count))) {
            again.push_back(begin + i);
        }
    }
    for (const std::size_t i : again) {
        for (int tries = 0; tries < mostTries && !connection->connect(); ++tries) {
            if (runTogether(*connection, units.subspan(i, 1), std::span(out).subspan(i, 1)).empty()) {
                break;
            }
        }
    }
    return out;
}

UnitResult PostgresStorage::read(const Work& unit) {
    const auto connection = impl_->pool.take();
    if (auto problem = connection->connect()) {
        return failure(*std::move(problem));
    }
    if (connection->execute("BEGIN ISOLATION LEVEL REPEATABLE READ READ ONLY")) {
        Transaction transaction(*connection);
        unit(transaction);
    }
    auto problem = connection->takeProblem();
    if (!connection->isLost()) {
        connection->execute("ROLLBACK");
        static_cast<void>(connection->takeProblem());
    }
    if (problem) {
        return failure(std::move(problem)->problem);
    }
    return {};
}

std::size_t PostgresStorage::lanes() const {
    return impl_->lanes;
}

UnitResult PostgresStorage::check() {
    const auto connection = impl_->pool.take();
    if (auto problem = connection->connect()) {
        return failure(*std::move(problem));
    }
    if (!connection->execute("SELECT 1")) {
        return failure(connection->takeProblem()->problem);
    }
    return {};
}

void PostgresStorage::onAnnouncement(std::function<void(const Announcement&)> told) {
    impl_->listener.onAnnouncement(std::move(told));
}

void PostgresStorage::onEnded(std::function<void(const EndedSession&)> told) {
    impl_->listener.onEnded(std::move(told));
}

void PostgresStorage::onGap(std::function<void()> told) {
    impl_->listener.onGap(std::move(told));
}

}  // namespace tolvik::server
