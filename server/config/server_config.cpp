#include "server/config/server_config.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <sstream>
#include <variant>

namespace tolvik::server {
namespace {

using Target = std::variant<bool ServerConfig::*, std::string ServerConfig::*, std::size_t ServerConfig::*,
                            std::uint16_t ServerConfig::*, std::filesystem::path ServerConfig::*>;

struct Setting {
    std::string_view name;
    Target target;
    std::string_view value;  ///< what stands behind the flag in the help; empty for switches
    std::string_view help;
    std::size_t least = 0;
    std::size_t most = 1'000'000;
};

const std::vector<Setting>& settings() {
    using C = ServerConfig;
    static const std::vector<Setting> all{
        {"dev", &C::dev, "", "try it out: own certificates, SQLite file, sign-in codes on the console"},
        {"json", &C::json, "", "start-up lines as JSON"},
        {"address", &C::address, "ADDRESS", "where to listen (127.0.0.1)"},
        {"port", &C::port, "PORT", "the port (8443); 0 finds a free one", 0, 65'535},
        {"data", &C::data, "FOLDER", "the folder for what the server keeps"},
        {"database", &C::database, "URL", "a SQLite file, or postgresql://… (tolvik-server.sqlite in the data folder)"},
        {"database-connections", &C::databaseConnections, "N", "connections to PostgreSQL (8)", 1, 512},
        {"certificate", &C::certificate, "FILE", "PEM, the chain behind it; read again on SIGHUP"},
        {"key", &C::key, "FILE", "the certificate's key, PEM"},
        {"plain", &C::plain, "", "no TLS: a proxy in front of it does it"},
        {"trusted-proxies", &C::trustedProxies, "LIST", "addresses and networks whose X-Forwarded-For counts"},
        {"mail-url", &C::mailUrl, "URL", "the mail server for codes: smtp://HOST:PORT or smtps://HOST:PORT"},
        {"mail-from", &C::mailFrom, "ADDRESS", "who the mail comes from"},
        {"mail-user", &C::mailUser, "NAME", "log-in at the mail server"},
        {"mail-password-file", &C::mailPasswordFile, "FILE", "holds the password for it"},
        {"mail-authority", &C::mailAuthority, "FILE", "PEM, trusted besides the system's authorities"},
        {"mail-require-tls", &C::mailRequireTls, "yes|no", "no mail without TLS (yes)"},
        {"metrics", &C::metrics, "ADDRESS:PORT", "publishes /metrics there, without TLS"},
        {"network-threads", &C::networkThreads, "N", "threads for connections (1)", 1, 64},
        {"max-connections", &C::maxConnections, "N", "connections in all (16000)", 1},
        {"max-connections-per-peer", &C::maxConnectionsPerPeer, "N", "connections of one address (256)", 1},
        {"max-streams", &C::maxStreams, "N", "open change streams in all (15000)", 1},
        {"max-streams-per-user", &C::maxStreamsPerUser, "N", "open change streams of one user (32)", 1},
        {"pepper-file", &C::pepperFile, "FILE", "a secret mixed into stored hashes; the same for all instances"},
        {"speech", &C::speech, "yes|no", "transcribe recordings when the models are installed (yes)"},
        {"speech-model", &C::speechModel, "FOLDER", "another speech model"},
        {"model-url", &C::modelUrl, "URL", "a language model's API of the OpenAI form, for example http://host/v1"},
        {"model-name", &C::modelName, "NAME", "the model's name there"},
        {"model-key-file", &C::modelKeyFile, "FILE", "holds the key for it"},
        {"model-timeout-ms", &C::modelTimeoutMs, "MS", "how long its answer is waited for (4000)", 100, 14'000},
        {"log-level", &C::logLevel, "LEVEL", "debug, info, warning or error (info)"},
    };
    return all;
}

std::optional<std::size_t> number(std::string_view text, const Setting& setting) {
    std::size_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < setting.least || value > setting.most) {
        return std::nullopt;
    }
    return value;
}

std::optional<bool> truth(std::string_view text) {
    if (text == "yes" || text == "true" || text == "1" || text == "on" || text.empty()) {
        return true;
    }
    if (text == "no" || text == "false" || text == "0" || text == "off") {
        return false;
    }
    return std::nullopt;
}

/// Why the value cannot stand; empty when it was taken.
std::string assign(ServerConfig& config, const Setting& setting, const std::string& text) {
    if (const auto* flag = std::get_if<bool ServerConfig::*>(&setting.target)) {
        const auto value = truth(text);
        if (!value) {
            return "must be yes or no";
        }
        config.*(*flag) = *value;
    } else if (const auto* word = std::get_if<std::string ServerConfig::*>(&setting.target)) {
        config.*(*word) = text;
    } else if (const auto* path = std::get_if<std::filesystem::path ServerConfig::*>(&setting.target)) {
        config.*(*path) = text;
    } else {
        const auto value = number(text, setting);
        if (!value) {
            return fmt::format("must be a whole number from {} to {}", setting.least, setting.most);
        }
        if (const auto* port = std::get_if<std::uint16_t ServerConfig::*>(&setting.target)) {
            config.*(*port) = static_cast<std::uint16_t>(*value);
        } else {
            config.*std::get<std::size_t ServerConfig::*>(setting.target) = *value;
        }
    }
    return {};
}

const Setting* find(std::string_view name) {
    const auto found = std::ranges::find(settings(), name, &Setting::name);
    return found == settings().end() ? nullptr : &*found;
}

std::string trimmedLine(std::string_view line) {
    const auto begin = line.find_first_not_of(" \t\r");
    return begin == std::string_view::npos
               ? std::string()
               : std::string(line.substr(begin, line.find_last_not_of(" \t\r") - begin + 1));
}

std::string readFile(ServerConfig& config, const std::filesystem::path& path) {
    std::ifstream file(path);
    if (!file) {
        return fmt::format("The configuration file {} cannot be read. Check its path and its permissions.",
                           path.string());
    }
    std::string raw;
    for (int at = 1; std::getline(file, raw); ++at) {
        const auto line = trimmedLine(raw);
        if (line.empty() || line.front() == '#' || line.front() == ';') {
            continue;
        }
        const auto equals = line.find('=');
        const auto name = trimmedLine(line.substr(0, equals));
        const auto* setting = find(name);
        const auto where = fmt::format("{}:{}", path.string(), at);
        if (equals == std::string::npos || setting == nullptr) {
            return fmt::format("{}: “{}” is no setting. Lines read NAME = VALUE; see --help for the names.", where,
                               name);
        }
        if (const auto wrong = assign(config, *setting, trimmedLine(line.substr(equals + 1))); !wrong.empty()) {
            return fmt::format("{}: {} {}.", where, name, wrong);
        }
    }
    return {};
}

std::string variableName(std::string_view setting) {
    std::string name = "TOLVIK_SERVER_";
    std::ranges::transform(setting, std::back_inserter(name), [](char c) {
        return c == '-' ? '_' : c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    });
    return name;
}

/// The flags, as names and values in their order. The error is for the operator.
Result<std::vector<std::pair<std::string, std::string>>, std::string> readFlags(
    std::span<const std::string> arguments) {
    std::vector<std::pair<std::string, std::string>> flags;
    for (std::size_t at = 0; at < arguments.size(); ++at) {
        const auto& argument = arguments[at];
        if (!argument.starts_with("--")) {
            return failure(fmt::format("“{}” is not understood. See --help.", argument));
        }
        const auto equals = argument.find('=');
        const auto name = argument.substr(2, equals == std::string::npos ? equals : equals - 2);
        const auto* setting = find(name);
        const bool isSwitch = name == "help" || name == "version" || (setting != nullptr && setting->value.empty());
        if (setting == nullptr && !isSwitch && name != "config") {
            return failure(fmt::format("There is no option --{}. See --help.", name));
        }
        if (equals != std::string::npos) {
            flags.emplace_back(name, argument.substr(equals + 1));
        } else if (isSwitch) {
            flags.emplace_back(name, "yes");
        } else if (at + 1 < arguments.size()) {
            flags.emplace_back(name, arguments[++at]);
        } else {
            return failure(fmt::format("--{} needs a value. See --help.", name));
        }
    }
    return flags;
}

}  // namespace

Result<ServerConfig, std::string> readServerConfig(std::span<const std::string> arguments,
                                                   const EnvironmentLookup& environment) {
    const auto flags = readFlags(arguments);
    if (!flags) {
        return failure(flags.error());
    }
    ServerConfig config;
    auto file = environment("TOLVIK_SERVER_CONFIG");
    for (const auto& [name, value] : *flags) {
        if (name == "config") {
            file = value;
        }
        config.help = config.help || name == "help";
        config.version = config.version || name == "version";
    }
    if (config.help || config.version) {
        return config;
    }
    if (file && !file->empty()) {
        if (auto wrong = readFile(config, *file); !wrong.empty()) {
            return failure(std::move(wrong));
        }
    }
    for (const auto& setting : settings()) {
        const auto variable = variableName(setting.name);
        if (const auto value = environment(variable); value && !value->empty()) {
            if (const auto wrong = assign(config, setting, *value); !wrong.empty()) {
                return failure(fmt::format("The variable {} {}.", variable, wrong));
            }
        }
    }
    for (const auto& [name, value] : *flags) {
        const auto* setting = find(name);
        if (const auto wrong = setting == nullptr ? std::string() : assign(config, *setting, value); !wrong.empty()) {
            return failure(fmt::format("--{} {}.", name, wrong));
        }
    }
    if (config.logLevel != "debug" && config.logLevel != "info" && config.logLevel != "warning" &&
        config.logLevel != "error") {
        return failure(std::string("log-level must be debug, info, warning or error."));
    }
    return config;
}

std::string serverHelp() {
    std::string text =
        "usage: tolvik-server --dev [OPTION…]\n"
        "       tolvik-server --certificate FILE --key FILE --mail-url URL --mail-from ADDRESS [OPTION…]\n"
        "       tolvik-server --plain --mail-url URL --mail-from ADDRESS [OPTION…]\n\n"
        "Keeps the logs of its users on all their devices.\n\n";
    for (const auto& setting : settings()) {
        const auto flag = fmt::format("--{} {}", setting.name, setting.value);
        text += fmt::format("  {:<32} {}\n", flag, setting.help);
    }
    text += fmt::format("  {:<32} {}\n  {:<32} {}\n  {:<32} {}\n", "--config FILE",
                        "lines NAME = VALUE, names as above", "--version", "the version", "--help", "this text");
    return text +
           "\nEach option can also be set as a variable: TOLVIK_SERVER_PORT, TOLVIK_SERVER_MAIL_URL, …\n"
           "SIGHUP reads the certificate again; SIGTERM finishes what is under way and ends.\n"
           "Exit codes: 0 ended as asked, 2 wrong options, 3 something it needs is missing.\n";
}

Result<std::string, std::string> readSecretFile(const std::filesystem::path& file) {
    std::ifstream input(file);
    std::ostringstream content;
    content << input.rdbuf();
    const auto text = content.str();
    const auto begin = text.find_first_not_of(" \t\r\n");
    if (!input || begin == std::string::npos) {
        return failure(fmt::format("{} cannot be read or is empty. It must hold the secret, readable for this account.",
                                   file.string()));
    }
    return text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

}  // namespace tolvik::server
