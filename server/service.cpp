#include "server/service.h"

#include <charconv>
#include <csignal>
#include <cstdio>
#include <curl/curl.h>
#include <fmt/format.h>
#include <malloc.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <sys/stat.h>

#include "adapters/system/system_clock.h"
#include "adapters/system/system_random.h"
#include "server/api/server_app.h"
#include "server/dispatch/dispatcher.h"
#include "server/mail/smtp_code_sender.h"
#include "server/model/http_language_model.h"
#include "server/net/network_server.h"
#include "server/net/response_text.h"
#include "server/observe/json_log.h"
#include "server/observe/request_metrics.h"
#include "server/open_storage.h"
#include "server/resources.h"
#include "server/speech/process_transcriber.h"
#include "server/tls/dev_authority.h"
#include "server/tls/tls_credentials.h"

namespace tolvik::server {
namespace {

using Json = nlohmann::ordered_json;

/// Files beside connections: the database, its log, certificates, the standard ones.
constexpr std::size_t otherFiles = 128;
constexpr std::chrono::seconds stopGrace{10};

/// Why the service cannot start, and the exit code that says so.
struct Refused {
    int exit;
    std::string text;
};

Refused wrongOptions(std::string text) {
    return {2, std::move(text)};
}
Refused missing(std::string text) {
    return {3, std::move(text)};
}

void say(const Json& line) {
    fmt::print("{}\n", line.dump(-1, ' ', false, Json::error_handler_t::replace));
    std::fflush(stdout);
}

/// For trying the server: the console stands for the mailbox.
class ConsoleCodeSender final : public CodeSender {
public:
    explicit ConsoleCodeSender(bool json) : json_(json) {}
    void send(CodeMail mail) override {
        if (json_) {
            say({{"event", "code"}, {"address", mail.address}, {"code", mail.code}});
        } else {
            fmt::print("Sign-in code for {}: {}\n", mail.address, mail.code);
            std::fflush(stdout);
        }
    }

private:
    const bool json_;
};

class MetricsHandler final : public RequestHandler {
public:
    MetricsHandler(const RequestMetrics& metrics, const NetworkCounters& counters)
        : metrics_(metrics), counters_(counters) {}
    [[nodiscard]] std::size_t bodyLimit(std::string_view, std::string_view) const override { return 0; }
    void handle(Request request, std::function<void(Answer)> reply) override {
        if (request.path != "/metrics") {
            return reply({refusal(404, "Only /metrics is here."), {}});
        }
        reply({{200, {{"content-type", "text/plain; version=0.0.4"}}, metrics_.text(counters_)}, {}});
    }

private:
    const RequestMetrics& metrics_;
    const NetworkCounters& counters_;
};

LogLevel levelOf(std::string_view name) {
    return name == "debug"     ? LogLevel::debug
           : name == "warning" ? LogLevel::warning
           : name == "error"   ? LogLevel::error
                               : LogLevel::info;
}

/// Everything that runs, in the order in which it is made; it goes in the opposite order.
struct Service {
    explicit Service(const ServerConfig& given) : config(given), log(levelOf(given.logLevel)) {}

    std::optional<Refused> open();
    void run();

    std::optional<Refused> openTls();
    std::optional<Refused> openMail();
    std::optional<Refused> openServices();
    std::optional<Refused> openNetwork();
    std::optional<Refused> openMetrics();
    void announceStart() const;

    const ServerConfig& config;
    std::filesystem::path data;
    JsonLog log;
    RequestMetrics metrics;
    NetworkCounters counters;
    NetworkCounters metricsCounters;
    DevCertificates devFiles;
    std::unique_ptr<TlsCredentials> tls;
    std::unique_ptr<StoreLock> lock;
    std::unique_ptr<Storage> storage;
    std::unique_ptr<CodeSender> mail;
    SystemClock clock;
    SystemRandom random;
    std::unique_ptr<Transcriber> transcriber;
    std::unique_ptr<LanguageModel> languageModel;
    std::unique_ptr<ServerApp> app;
    std::unique_ptr<StreamHub> hub;
    // The network is destroyed after whoever replies to it, and is told to stop before.
    std::unique_ptr<RequestHandler> metricsHandler;
    std::unique_ptr<NetworkServer> metricsNetwork;
    std::unique_ptr<RequestHandler> dispatcher;
    std::unique_ptr<NetworkServer> network;
};

std::optional<Refused> Service::open() {
    std::error_code error;
    // Clients elsewhere are told the authority's file.
    data = std::filesystem::absolute(config.data.empty() ? defaultDataFolder(config.dev) : config.data, error);
    std::filesystem::create_directories(data, error);
    if (error) {
        return missing(fmt::format("The folder {} cannot be made ({}). Choose another with --data.", data.string(),
                                   error.message()));
    }
    if (auto refused = openTls()) {
        return refused;
    }
    auto opened = openStorage(config.database.empty() ? (data / "tolvik-server.sqlite").string() : config.database,
                              config.databaseConnections);
    if (!opened) {
        return missing(std::move(opened.error()));
    }
    lock = std::move(opened->lock);
    storage = std::move(opened->storage);
    if (auto refused = openMail()) {
        return refused;
    }
    ServerOptions options;
    if (!config.pepperFile.empty()) {
        auto secret = readSecretFile(config.pepperFile);
        if (!secret) {
            return missing(std::move(secret.error()));
        }
        options.pepper = std::move(*secret);
    } else if (isSharedDatabase(config.database)) {
        log.write(LogLevel::warning, "no_pepper",
                  {{"advice", "set pepper-file to the same secret on every instance that shares the database"}});
    } else {
        auto secret = keptSecret(data / "pepper");
        if (!secret) {
            return missing(std::move(secret.error()));
        }
        options.pepper = std::move(*secret);
    }
    if (auto refused = openServices()) {
        return refused;
    }
    app = std::make_unique<ServerApp>(ServerPorts{clock, random, transcriber.get(), languageModel.get()}, options);
    if (auto refused = openNetwork()) {
        return refused;
    }
    return openMetrics();
}

std::optional<Refused> Service::openTls() {
    auto certificate = config.certificate;
    auto key = config.key;
    if (config.plain) {
        return config.certificate.empty() ? std::nullopt
                                          : std::optional(wrongOptions("--plain goes without --certificate."));
    }
    if (certificate.empty() != key.empty()) {
        return wrongOptions("--certificate and --key are given together.");
    }
    if (certificate.empty()) {
        if (!config.dev) {
            return wrongOptions(
                "How shall clients connect? Give --certificate and --key, or --plain when a proxy in front does TLS, "
                "or --dev to try the server on this machine. See --help.");
        }
        auto made = devCertificates(data);
        if (!made) {
            return missing(std::move(made.error()));
        }
        devFiles = *made;
        certificate = made->certificate;
        key = made->key;
    }
    auto loaded = TlsCredentials::load(certificate, key);
    if (!loaded) {
        return missing(std::move(loaded.error()));
    }
    tls = std::move(*loaded);
    return std::nullopt;
}

std::optional<Refused> Service::openMail() {
    if (config.mailUrl.empty()) {
        if (!config.dev) {
            return wrongOptions(
                "Nobody could sign in: no mail server is set to send the codes. Give --mail-url and --mail-from, or "
                "--dev to print codes on the console. See --help.");
        }
        mail = std::make_unique<ConsoleCodeSender>(config.json);
        return std::nullopt;
    }
    if (!config.mailUrl.starts_with("smtp://") && !config.mailUrl.starts_with("smtps://")) {
        return wrongOptions("--mail-url must begin with smtp:// or smtps://.");
    }
    if (!isPlainMailAddress(config.mailFrom)) {
        return wrongOptions("--mail-from must be a bare address such as codes@example.org.");
    }
    SmtpSettings settings{
        config.mailUrl, config.mailFrom, config.mailUser, {}, config.mailRequireTls, config.mailAuthority.string()};
    if (!config.mailPasswordFile.empty()) {
        auto secret = readSecretFile(config.mailPasswordFile);
        if (!secret) {
            return missing(std::move(secret.error()));
        }
        settings.password = std::move(*secret);
    }
    mail = std::make_unique<SmtpCodeSender>(std::move(settings), [this](const std::string& problem) {
        metrics.count(problem.empty() ? "mail_sent" : "mail_failed");
        if (!problem.empty()) {
            log.write(LogLevel::error, "mail_failed", {{"problem", problem}});
        }
    });
    return std::nullopt;
}

std::optional<Refused> Service::openServices() {
    if (config.speech) {
        std::error_code error;
        const auto program = std::filesystem::read_symlink("/proc/self/exe", error).parent_path() / "tolvik-transcribe";
        if (std::filesystem::exists(program)) {
            transcriber =
                std::make_unique<ProcessTranscriber>(ProcessTranscriber::Options{program, config.speechModel});
        } else {
            log.write(LogLevel::warning, "no_speech",
                      {{"advice", "tolvik-transcribe is not installed beside the server"}});
        }
    }
    if (config.modelUrl.empty()) {
        return std::nullopt;
    }
    if (config.modelName.empty()) {
        return wrongOptions("--model-url goes with --model-name.");
    }
    HttpLanguageModel::Options options{
        config.modelUrl, config.modelName, {}, std::chrono::milliseconds(config.modelTimeoutMs)};
    if (!config.modelKeyFile.empty()) {
        auto secret = readSecretFile(config.modelKeyFile);
        if (!secret) {
            return missing(std::move(secret.error()));
        }
        options.key = std::move(*secret);
    }
    languageModel = std::make_unique<HttpLanguageModel>(std::move(options));
    return std::nullopt;
}

std::optional<Refused> Service::openNetwork() {
    NetworkOptions options;
    options.address = config.address;
    options.port = config.port;
    options.threads = config.networkThreads;
    options.maxConnections = config.maxConnections;
    options.maxConnectionsPerPeer = config.maxConnectionsPerPeer;
    const auto files = raiseFileLimit();
    if (files < options.maxConnections + otherFiles) {
        options.maxConnections = files > 2 * otherFiles ? files - otherFiles : otherFiles;
        log.write(LogLevel::warning, "few_files",
                  {{"connections", static_cast<std::int64_t>(options.maxConnections)},
                   {"advice", "raise LimitNOFILE or ulimit -n for more connections"}});
    }
    auto proxies = TrustedProxies::parse(config.trustedProxies);
    if (!proxies) {
        return wrongOptions("--trusted-proxies: " + proxies.error() + ".");
    }
    options.proxies = std::move(*proxies);
    hub = std::make_unique<StreamHub>(StreamHub::Limits{config.maxStreams, config.maxStreamsPerUser});
    dispatcher =
        std::make_unique<Dispatcher>(Dispatcher::Parts{*app, *storage, *hub, *mail, log, metrics}, DispatchOptions());
    auto listening = NetworkServer::listen(options, *dispatcher, *hub, counters, tls.get());
    if (!listening) {
        return missing(std::move(listening.error()));
    }
    network = std::move(*listening);
    return std::nullopt;
}

std::optional<Refused> Service::openMetrics() {
    if (config.metrics.empty()) {
        return std::nullopt;
    }
    const auto colon = config.metrics.rfind(':');
    NetworkOptions options;
    const auto digits = colon == std::string::npos ? std::string() : config.metrics.substr(colon + 1);
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), options.port);
    if (error != std::errc() || end != digits.data() + digits.size()) {
        return wrongOptions("--metrics must be ADDRESS:PORT, for example 127.0.0.1:9464.");
    }
    options.address = config.metrics.substr(0, colon);
    options.maxConnections = 16;
    metricsHandler = std::make_unique<MetricsHandler>(metrics, counters);
    auto listening = NetworkServer::listen(options, *metricsHandler, *hub, metricsCounters, nullptr);
    if (!listening) {
        return missing(std::move(listening.error()));
    }
    metricsNetwork = std::move(*listening);
    return std::nullopt;
}

void Service::announceStart() const {
    const auto scheme = tls ? "https" : "http";
    const auto host = config.dev ? "localhost" : config.address;
    const auto url = fmt::format("{}://{}:{}", scheme, host, network->port());
    if (config.json) {
        Json line{{"event", "listening"}, {"port", network->port()}, {"url", url}};
        if (metricsNetwork) {
            line["metricsPort"] = metricsNetwork->port();
        }
        if (config.dev) {
            line["TOLVIK_BACKEND_URL"] = url;
            if (tls) {
                line["SSL_CERT_FILE"] = devFiles.authority.string();
            }
        }
        return say(line);
    }
    fmt::print("tolvik-server listens on {}\n", url);
    if (config.dev && !devFiles.authority.empty()) {
        fmt::print(
            "\nA client on this machine finds it with these two settings:\n\n"
            "  export TOLVIK_BACKEND_URL={}\n"
            "  export SSL_CERT_FILE={}\n\n"
            "Sign-in codes are printed here instead of being mailed. Ctrl+C ends.\n",
            url, devFiles.authority.string());
    }
    std::fflush(stdout);
}

void Service::run() {
    network->start();
    if (metricsNetwork) {
        metricsNetwork->start();
    }
    announceStart();
    log.write(LogLevel::info, "started", {{"port", std::int64_t{network->port()}}});
    sigset_t signals;
    sigemptyset(&signals);
    for (const int one : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&signals, one);
    }
    int signal = 0;
    while (sigwait(&signals, &signal) == 0 && signal == SIGHUP) {
        const auto reloaded = tls ? tls->reload() : Result<void, std::string>();
        if (reloaded) {
            log.write(LogLevel::info, "reloaded");
        } else {
            log.write(LogLevel::error, "reload_failed", {{"problem", reloaded.error()}});
        }
    }
    log.write(LogLevel::info, "stopping");
    network->stop(stopGrace);
    dispatcher.reset();
    network.reset();
    metricsNetwork.reset();
    storage.reset();
    log.write(LogLevel::info, "stopped");
}

}  // namespace

int runService(const ServerConfig& config) {
    // Few threads: more arenas would only keep more memory that nobody uses.
    ::mallopt(M_ARENA_MAX, 2);
    ::umask(0077);
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    sigemptyset(&signals);
    for (const int one : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&signals, one);
    }
    // Before any thread is made, so that none of them takes the signals away from the one that waits for them.
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    if (!config.mailUrl.empty() || !config.modelUrl.empty()) {
        curl_global_init(CURL_GLOBAL_DEFAULT);
    }
    Service service(config);
    if (const auto refused = service.open()) {
        if (config.json) {
            say({{"event", "refused"}, {"error", refused->text}});
        }
        fmt::print(stderr, "tolvik-server: {}\n", refused->text);
        return refused->exit;
    }
    service.run();
    return 0;
}

}  // namespace tolvik::server
