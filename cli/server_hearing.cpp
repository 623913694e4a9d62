#include "cli/server_hearing.h"

#include <utility>

#include "adapters/system/system_random.h"
#include "backend/endpoint.h"
#include "backend/session.h"
#include "base/json_writer.h"
#include "core/value_store.h"
#include "services/backend_config.h"
#include "services/lazy_network.h"
#include "voice/capture/whisper_service.h"

namespace tolvik {
namespace {

/// The settings of the session as whoever holds the log told them. The token is in the secret store all the same, so
/// that a refused session ends for everybody; the holder learns of it with its next request.
class ToldValues final : public ValueStore {
public:
    explicit ToldValues(const std::string& email) { appendJsonString(email_, email); }

    [[nodiscard]] Result<std::optional<std::string>, StoreError> get(std::string_view key) const override {
        return key == "tolvik.auth.email" ? std::optional(email_) : std::nullopt;
    }
    [[nodiscard]] Result<std::vector<std::string>, StoreError> keys() const override { return {}; }
    [[nodiscard]] Result<std::vector<PieceInfo>, StoreError> pieces(std::string_view) const override { return {}; }
    [[nodiscard]] Result<std::string, StoreError> piece(std::string_view, std::int64_t) const override {
        return failure(StoreError::io);
    }
    Result<void, StoreError> eachPiece(std::string_view,
                                       const std::function<void(const PieceInfo&, std::string_view)>&) const override {
        return {};
    }
    [[nodiscard]] Result<std::vector<JournalItem>, StoreError> journal(std::string_view) const override { return {}; }
    [[nodiscard]] Result<void, StoreError> commit(const WriteBatch&) override { return {}; }

private:
    std::string email_;
};

}  // namespace

ServerHearing::ServerHearing(const Paths& paths, HearingWords words, const std::filesystem::path& file)
    : answer_(promise_.get_future()) {
    if (words.email.empty()) {
        promise_.set_value(std::nullopt);
        return;
    }
    thread_ = std::thread([this, paths, words = std::move(words), file] { ask(paths, words, file); });
}

ServerHearing::~ServerHearing() {
    loop_.quit();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void ServerHearing::ask(const Paths& paths, const HearingWords& words, const std::filesystem::path& file) {
    ToldValues values(words.email);
    LazySecretStore secrets(paths.secretsModule());
    LazyHttpClient http(paths.httpModule(), loop_);
    Session session(values, secrets);
    const BackendEndpoint endpoint([environment = processEnvironment(), files = configurationFiles(paths)] {
        return configuredBackendUrl(environment, files);
    });
    SystemRandom random;
    WhisperService whisper({.http = http, .endpoint = endpoint, .session = session, .loop = loop_, .random = random});
    std::optional<Answer> answer;
    if (whisper.isWanted()) {
        const auto request = whisper.transcribe(file, transcriptionPrompt(words.prompt), [&](const Answer& given) {
            answer = given;
            loop_.quit();
        });
        loop_.run();
    }
    promise_.set_value(std::move(answer));
}

std::optional<ServerHearing::Answer> ServerHearing::await(Millis patience) {
    if (answer_.wait_for(patience) == std::future_status::timeout) {
        return failure(TranscriptionClient::Failure{"the server did not answer in time", true});
    }
    return answer_.get();
}

}  // namespace tolvik
