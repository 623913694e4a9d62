#include "tests/server/postgres_cluster.h"

#include <cstdlib>
#include <filesystem>
#include <fmt/format.h>
#include <unistd.h>

#include "adapters/postgres/postgres_storage.h"

namespace tolvik::server {
namespace {

constexpr const char* programs = "/usr/lib/postgresql/15/bin";

/// The command as the user that the database runs as.
int run(const std::string& command) {
    const std::string quiet = command + " >/dev/null 2>&1 </dev/null";
    // NOLINTNEXTLINE(cert-env33-c): the tests' own paths
    return std::system(geteuid() == 0
                           ? fmt::format("setpriv --reuid=65534 --regid=65534 --clear-groups {}", quiet).c_str()
                           : quiet.c_str());
}

}  // namespace

bool PostgresCluster::isInstalled() {
    return std::filesystem::exists(std::string(programs) + "/initdb");
}

PostgresCluster& PostgresCluster::shared() {
    static PostgresCluster one;
    return one;
}

PostgresCluster::PostgresCluster() {
    std::string name = (std::filesystem::temp_directory_path() / "tolvik-postgres-XXXXXX").string();
    folder_ = mkdtemp(name.data()) == nullptr ? "" : name;
    if (geteuid() == 0) {
        // NOLINTNEXTLINE(cppcoreguidelines-avoid-magic-numbers): nobody
        static_cast<void>(chown(folder_.c_str(), 65534, 65534));
    }
    run(fmt::format("{}/initdb -D {}/data -U tolvik -A trust -E UTF8 --locale=C --no-sync", programs, folder_));
    run(
        fmt::format("{0}/pg_ctl -D {1}/data -w -l {1}/log -o \"-c listen_addresses='' -c unix_socket_directories={1} "
                    "-c shared_buffers=16MB -c max_connections=60 {2}\" start",
                    programs, folder_, std::getenv("TOLVIK_POSTGRES_DURABLE") == nullptr ? "-F" : ""));
}

PostgresCluster::~PostgresCluster() {
    run(fmt::format("{}/pg_ctl -D {}/data -m immediate stop", programs, folder_));
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

std::string PostgresCluster::newDatabase() {
    const std::string name = fmt::format("t{}_{}", getpid(), ++databases_);
    run(fmt::format("{}/createdb -h {} -U tolvik {}", programs, folder_, name));
    return fmt::format("host={} user=tolvik dbname={}", folder_, name);
}

std::unique_ptr<Storage> PostgresCluster::newStorage() {
    auto opened = PostgresStorage::open(newDatabase(), 2);
    return opened ? std::move(*opened) : nullptr;
}

}  // namespace tolvik::server
