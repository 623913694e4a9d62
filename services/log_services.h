#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "base/clock.h"
#include "base/main_loop.h"
#include "base/result.h"
#include "core/app_store.h"
#include "services/paths.h"
#include "voice/parse/command_executor.h"
#include "voice/parse/local_voice_parser.h"

namespace tolvik {

class AuthService;
class BackendEndpoint;
class DictionaryManager;
class HttpClient;
class ProfileService;
class SecretStore;
class Session;
class SyncOutbox;
class SyncService;

/// The log and what understands sentences about it: the part that the desktop and the command line share. The caller
/// holds the store's lock for as long as this lives. Main loop only.
class LogServices {
public:
    /// What the process lends. Everything outlives the services.
    struct Ports {
        const Clock& clock;
        const TimeZone& timeZone;
        Random& random;
        MainLoop& loop;
        Workers& workers;
        /// Null for the module beside the program, loaded with the first request.
        HttpClient* http = nullptr;
        /// Null for the module beside the program, loaded when the session is first asked for.
        SecretStore* secrets = nullptr;
        /// The server's address; empty for the one of environment and configuration files.
        std::function<std::optional<std::string>()> backendUrl = {};
    };

    struct Options {
        /// A process that makes one change and ends leaves tidying the log's file to the next that lives longer.
        bool endsAfterwards = false;
    };

    /// Opens the log below `paths.data`, which is created when it is missing. A damaged file is moved aside and a
    /// fresh one opened, see `openingNotice`. Where the log can be read and not written it opens as well, and
    /// `store().saveProblem()` says so after the first change; it fails where it can be neither.
    [[nodiscard]] static Result<std::unique_ptr<LogServices>, StoreError> open(const Paths& paths, Ports ports,
                                                                               Options options);
    [[nodiscard]] static Result<std::unique_ptr<LogServices>, StoreError> open(const Paths& paths, Ports ports) {
        return open(paths, std::move(ports), Options{});
    }

    LogServices(const LogServices&) = delete;
    LogServices& operator=(const LogServices&) = delete;
    ~LogServices();

    [[nodiscard]] const Paths& paths() const;
    /// What happened to a damaged file when the log was opened, for the user; empty when nothing did.
    [[nodiscard]] std::string openingNotice() const;
    /// Why the log cannot be written at present, as far as opening it told.
    [[nodiscard]] std::optional<StoreError> openProblem() const;
    [[nodiscard]] ValueStore& values();
    [[nodiscard]] AppStore& store();
    [[nodiscard]] DictionaryManager& dictionary();
    [[nodiscard]] SyncOutbox& outbox();
    [[nodiscard]] HttpClient& http();
    [[nodiscard]] const BackendEndpoint& endpoint();
    [[nodiscard]] Session& session();
    [[nodiscard]] AuthService& auth();
    [[nodiscard]] ProfileService& profile();
    /// From now on, while somebody is signed in, the queue is sent, everything is pulled and, in a process that lives
    /// on, the server's announcements are followed. A process that ends after its command does so only for commands
    /// about the account.
    void goOnline();
    /// What pulls; before `goOnline` null.
    [[nodiscard]] SyncService* sync();
    /// Follows each end of a session here, after the queue: what else belongs to it.
    void setSignedOut(std::function<void()> callback);
    [[nodiscard]] const LocalVoiceParser& parser();
    [[nodiscard]] CommandExecutor& executor();

    /// True when the embedding's module and model files are there; they are loaded when meaning is first asked for.
    [[nodiscard]] bool hasEmbedding() const;
    /// Loads the embedding and the vectors of the anchors and of the open tasks' titles on a worker. For processes
    /// that live long; calling it again takes in new titles.
    void warmUp();

private:
    struct Impl;
    explicit LogServices(std::unique_ptr<Impl> impl);

    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik
