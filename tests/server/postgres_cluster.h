#pragma once

#include <memory>
#include <string>

#include "server/storage/storage.h"

namespace tolvik::server {

/// A PostgreSQL server of the tests' own, in a temporary folder and reachable through a socket in it alone. Started at
/// the first use, stopped at the end of the program. As root it runs as the user nobody, which PostgreSQL insists on.
class PostgresCluster {
public:
    [[nodiscard]] static bool isInstalled();
    [[nodiscard]] static PostgresCluster& shared();

    /// On a database of its own; null when it cannot be had.
    [[nodiscard]] std::unique_ptr<Storage> newStorage();
    /// The address of a database made anew.
    [[nodiscard]] std::string newDatabase();

    PostgresCluster(const PostgresCluster&) = delete;
    PostgresCluster& operator=(const PostgresCluster&) = delete;
    ~PostgresCluster();

private:
    PostgresCluster();

    std::string folder_;
    int databases_ = 0;
};

}  // namespace tolvik::server
