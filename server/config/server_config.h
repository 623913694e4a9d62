#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/result.h"

namespace tolvik::server {

/// Everything that an operator can set. Each setting has one name: "max-streams" in a file or as --max-streams,
/// TOLVIK_SERVER_MAX_STREAMS in the environment. Flags win over the environment, which wins over the file.
struct ServerConfig {
    bool dev = false;
    bool json = false;  ///< start-up lines as JSON
    bool help = false;
    bool version = false;
    std::string address = "127.0.0.1";
    std::uint16_t port = 8443;
    std::filesystem::path data;  ///< the folder for the database and the throw-away certificates
    std::string database;        ///< empty: a SQLite file in `data`; else a path or postgresql://…
    std::size_t databaseConnections = 8;
    std::filesystem::path certificate;
    std::filesystem::path key;
    bool plain = false;  ///< no TLS: a proxy in front does it
    std::string trustedProxies;
    std::string mailUrl;
    std::string mailFrom;
    std::string mailUser;
    std::filesystem::path mailPasswordFile;
    std::filesystem::path mailAuthority;
    bool mailRequireTls = true;
    std::string metrics;  ///< ADDRESS:PORT; empty for none
    std::size_t networkThreads = 1;
    std::size_t maxConnections = 16'000;
    std::size_t maxConnectionsPerPeer = 256;
    std::size_t maxStreams = 15'000;
    std::size_t maxStreamsPerUser = 32;
    std::filesystem::path pepperFile;
    bool speech = true;
    std::filesystem::path speechModel;
    std::string modelUrl;  ///< of a language model's API, without the final /chat/completions; empty for none
    std::string modelName;
    std::filesystem::path modelKeyFile;
    std::size_t modelTimeoutMs = 4'000;
    std::string logLevel = "info";
};

/// How settings are looked up in the environment; empty when unset.
using EnvironmentLookup = std::function<std::optional<std::string>(const std::string&)>;

/// Reads flags, environment and file together. The error is for the operator and names the setting and its place.
[[nodiscard]] Result<ServerConfig, std::string> readServerConfig(std::span<const std::string> arguments,
                                                                 const EnvironmentLookup& environment);

/// The text of --help.
[[nodiscard]] std::string serverHelp();

/// The content of a file that holds one secret, without white space at its ends. The error names the file.
[[nodiscard]] Result<std::string, std::string> readSecretFile(const std::filesystem::path& file);

}  // namespace tolvik::server
