#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "backend/endpoint.h"
#include "backend/http_client.h"
#include "backend/session.h"
#include "base/clock.h"
#include "base/main_loop.h"
#include "telemetry/consent.h"
#include "telemetry/events.h"

namespace tolvik {

/// Sends the events of one buffer, a batch as soon as ten wait. Main loop only.
class EventUpload {
public:
    struct Ports {
        const BackendEndpoint& endpoint;
        Session& session;
        HttpClient& http;
    };
    EventUpload(Ports ports, EventBuffer buffer, std::string path);

    [[nodiscard]] EventBuffer& buffer() { return buffer_; }
    [[nodiscard]] const EventBuffer& buffer() const { return buffer_; }
    void append(EventBuffer::Event event);
    /// Sends what is not on its way; nothing while signed out or where the connection is not HTTPS.
    void flush();
    /// Gives up what is on its way and forgets everything, the file too.
    void drop();

private:
    Ports ports_;
    EventBuffer buffer_;
    std::string path_;
    std::map<std::uint64_t, std::unique_ptr<HttpExchange>> exchanges_;
    std::uint64_t nextExchange_ = 0;
};

/// Product and voice analytics behind one consent. `track` and `record` may be called from any thread, the rest on the
/// main loop. What it was made with outlives it.
class Telemetry {
public:
    struct Ports {
        ValueStore& values;
        EventUpload::Ports upload;
        MainLoop& loop;
        const Clock& clock;
        Random& random;
        /// Holds the buffers' files.
        std::filesystem::path folder;
        /// Of the user's locale, for example "FI".
        std::optional<std::string> region;
        std::optional<std::string> appVersion;
        /// Write the buffers' files; null for writing at once.
        Workers* workers = nullptr;
    };
    /// How spoken commands were understood in this run.
    struct VoiceCounts {
        std::int64_t totalCalls = 0;
        std::int64_t localResolved = 0;
        std::int64_t llmCalls = 0;
    };

    explicit Telemetry(Ports ports);
    Telemetry(const Telemetry&) = delete;
    Telemetry& operator=(const Telemetry&) = delete;
    ~Telemetry();

    [[nodiscard]] Consent consent() const { return consentIn(ports_.values); }
    /// Takes effect at once; see `setConsent`.
    [[nodiscard]] Result<void, StoreError> setConsent(bool yes);
    /// The answer was given elsewhere, by the command line. Each event looks by itself.
    void followConsent();
    /// What waits is not sent in the name of whoever signs in next: it goes, and a new identity begins.
    void userSignedOut();

    /// A product event. Any thread.
    void track(std::string_view name, EventProperties properties = {});
    /// A spoken command. Any thread.
    void record(VoiceEvent event);
    /// Sends what waits.
    void flush();
    /// Writes the buffers, before the application ends.
    void save() const;

    /// The very bytes that the next uploads would send.
    [[nodiscard]] TelemetryPreview previewBytes() const;
    [[nodiscard]] const VoiceCounts& voiceCounts() const { return counts_; }

private:
    void start();
    void stop();
    void later(std::function<void()> call);

    Ports ports_;
    std::string sessionId_;
    EventOrigin origin_;
    bool isOn_ = false;
    EventUpload product_;
    EventUpload voice_;
    VoiceCounts counts_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

}  // namespace tolvik
