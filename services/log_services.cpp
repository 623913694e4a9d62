#include "services/log_services.h"

#include <atomic>
#include <optional>
#include <spdlog/spdlog.h>
#include <utility>

#include "adapters/sqlite/sqlite_value_store.h"
#include "backend/auth_service.h"
#include "backend/profile_service.h"
#include "dictionary/dictionary_manager.h"
#include "services/backend_config.h"
#include "services/lazy_embedder.h"
#include "services/lazy_network.h"
#include "sync/sse_stream.h"
#include "sync/sync_outbox.h"
#include "sync/sync_service.h"
#include "sync/user_change.h"
#include "voice/parse/voice_parse_service.h"

namespace tolvik {
namespace {

SqliteValueStore::Options storeOptions(const LogServices::Options& options) {
    SqliteValueStore::Options chosen;
    chosen.checkpointOnClose = !options.endsAfterwards;
    return chosen;
}

}  // namespace

struct LogServices::Impl final : AccountFollower {
    Impl(Paths where, Ports lent, const Options& options)
        : places(std::move(where)),
          ports(std::move(lent)),
          values(places.database().string(), storeOptions(options)),
          embedder(std::make_shared<LazyEmbedder>(places.embeddingModule(), places.embeddingModel())),
          parser(std::make_shared<LocalVoiceParser>(embedder.get())),
          lazyHttp(places.httpModule(), ports.loop),
          lazySecrets(places.secretsModule()),
          http(ports.http == nullptr ? lazyHttp : *ports.http),
          endpoint(ports.backendUrl
                       ? ports.backendUrl
                       : [environment = processEnvironment(),
                          files = configurationFiles(places)] { return configuredBackendUrl(environment, files); }),
          session(values, ports.secrets == nullptr ? lazySecrets : *ports.secrets),
          serverParser({http, endpoint, session, ports.loop}),
          profile(http, endpoint, session),
          auth({http, endpoint, session, ports.loop, ports.clock, *this}),
          stream({http, endpoint, session, ports.clock, ports.random, ports.loop}),
          livesOn(!options.endsAfterwards) {}

    // A process that is about to end leaves the queue's file as it should be.
    ~Impl() override {
        if (outbox) {
            outbox->settle();
        }
    }

    /// The rest needs a file that can be read.
    void openLog() {
        const auto signedIn = [this] { return session.isSignedIn(); };
        outbox.emplace(
            SyncOutbox::Ports{values, ports.clock, ports.random, ports.loop, ports.workers, places.data.string()});
        // Where the disk refuses, the log stays whose it is and the next start tries again.
        static_cast<void>(followUser(values, *outbox));
        dictionary.emplace(
            DictionaryPorts{values, ports.clock, ports.random, ports.loop, *outbox, stream, &outbox.value()});
        store.emplace(AppStorePorts{values, ports.clock, ports.timeZone, ports.random, ports.loop, *outbox, stream,
                                    [this] { return dictionary->activeTagId(); }, signedIn,
                                    [this](DayKey day) {
                                        if (sync) {
                                            sync->pullRange(day, day);
                                        }
                                    }});
        executor.emplace(CommandExecutor::Ports{*store, *parser, &serverParser, signedIn,
                                                [this] { return dictionary->vocabularyText(activeProjectName()); }});
    }

    void goOnline() {
        if (sync) {
            return;
        }
        sync.emplace(SyncService::Ports{http, endpoint, session, ports.clock, ports.timeZone, ports.loop, ports.workers,
                                        *outbox, *store, *dictionary, stream});
        sessionChanged = session.onChanged([this] { followSession(); });
        followSession();
    }

    /// The session may be read, end or be refused at any time.
    void followSession() {
        const bool signedIn = session.isSignedIn();
        if (signedIn && !std::exchange(syncing, true)) {
            sync->start(livesOn);
        } else if (!signedIn && std::exchange(syncing, false)) {
            sync->userSignedOut();
        }
    }

    // --- what follows the account ----------------------------------------------------------------------------------
    [[nodiscard]] Result<void, std::string> userSignedIn() override {
        // Nothing starts before log and queue are this user's.
        syncing = true;
        goOnline();
        if (const auto followed = sync->userSignedIn(livesOn); !followed) {
            syncing = false;
            return failure(std::string(describe(followed.error())));
        }
        return {};
    }
    void flush() override { outbox->flush(); }
    [[nodiscard]] std::size_t pendingCount() override { return outbox->pendingCount(); }
    void clearQueue() override { outbox->clear(); }
    void signedOut() override {
        if (sync && std::exchange(syncing, false)) {
            sync->userSignedOut();
        }
        outbox->userChanged();
        if (onSignedOut) {
            onSignedOut();
        }
    }

    [[nodiscard]] std::string activeProjectName() const {
        const auto& active = dictionary->activeTagId();
        const TagModel* project = active ? store->tagById(*active) : nullptr;
        return project == nullptr ? std::string() : project->name;
    }

    Paths places;
    Ports ports;
    SqliteValueStore values;
    // Shared with the worker that warms them up, which may outlive the services by a moment.
    std::shared_ptr<LazyEmbedder> embedder;
    std::shared_ptr<LocalVoiceParser> parser;
    LazyHttpClient lazyHttp;
    LazySecretStore lazySecrets;
    HttpClient& http;
    BackendEndpoint endpoint;
    Session session;
    VoiceParseService serverParser;
    ProfileService profile;
    AuthService auth;
    SseStream stream;
    bool livesOn;
    bool syncing = false;
    std::function<void()> onSignedOut;
    std::optional<SyncOutbox> outbox;
    std::optional<DictionaryManager> dictionary;
    std::optional<AppStore> store;
    std::optional<CommandExecutor> executor;
    std::optional<SyncService> sync;
    Subscription sessionChanged;
};

Result<std::unique_ptr<LogServices>, StoreError> LogServices::open(const Paths& paths, Ports ports, Options options) {
    auto impl = std::make_unique<Impl>(paths, std::move(ports), options);
    if (const auto readable = impl->values.keys(); !readable) {
        return failure(impl->values.openProblem().value_or(readable.error()));
    }
    impl->openLog();
    return std::unique_ptr<LogServices>(new LogServices(std::move(impl)));
}

LogServices::LogServices(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
LogServices::~LogServices() = default;

const Paths& LogServices::paths() const {
    return impl_->places;
}

std::string LogServices::openingNotice() const {
    const auto aside = impl_->values.movedAside();
    return aside ? "The log's file was damaged. A new one was begun, and the old one is kept at " + *aside
                 : std::string();
}

std::optional<StoreError> LogServices::openProblem() const {
    return impl_->values.openProblem();
}

ValueStore& LogServices::values() {
    return impl_->values;
}

AppStore& LogServices::store() {
    return *impl_->store;
}

DictionaryManager& LogServices::dictionary() {
    return *impl_->dictionary;
}

SyncOutbox& LogServices::outbox() {
    return *impl_->outbox;
}

HttpClient& LogServices::http() {
    return impl_->http;
}

const BackendEndpoint& LogServices::endpoint() {
    return impl_->endpoint;
}

Session& LogServices::session() {
    return impl_->session;
}

AuthService& LogServices::auth() {
    return impl_->auth;
}

ProfileService& LogServices::profile() {
    return impl_->profile;
}

void LogServices::goOnline() {
    impl_->goOnline();
}

SyncService* LogServices::sync() {
    return impl_->sync ? &*impl_->sync : nullptr;
}

void LogServices::setSignedOut(std::function<void()> callback) {
    impl_->onSignedOut = std::move(callback);
}

const LocalVoiceParser& LogServices::parser() {
    return *impl_->parser;
}

CommandExecutor& LogServices::executor() {
    return *impl_->executor;
}

bool LogServices::hasEmbedding() const {
    return impl_->embedder->isPresent();
}

void LogServices::warmUp() {
    if (!hasEmbedding()) {
        return;
    }
    std::vector<std::string> titles;
    for (const auto& task : impl_->executor->candidates()) {
        titles.push_back(task.title);
    }
    impl_->ports.workers.run(
        [embedder = impl_->embedder, parser = impl_->parser, titles = std::move(titles)] { parser->warm(titles); });
}

}  // namespace tolvik
