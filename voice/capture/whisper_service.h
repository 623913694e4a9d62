#pragma once

#include <cstddef>
#include <functional>
#include <utility>

#include "backend/endpoint.h"
#include "backend/http_client.h"
#include "backend/session.h"
#include "base/clock.h"
#include "base/main_loop.h"
#include "voice/capture/voice_manager.h"

namespace tolvik {

/// Why a recording was not transcribed. `describe` gives the text for the user.
struct WhisperError {
    enum class Kind : std::uint8_t {
        badResponse,
        noAuth,
        insecureTransport,
        malformedJson,
        busy,       ///< 429 or 5xx
        transport,  ///< no answer, or the recording could not be read
    };
    Kind kind = Kind::badResponse;
    int status = 0;
    /// Of `badResponse` and `transport`.
    std::string message = {};
};
[[nodiscard]] std::string describe(const WhisperError& error);

/// Uploads a recording with its prompt to the server's recogniser. Keeps nothing. Main loop only.
class WhisperService final : public TranscriptionClient {
public:
    struct Ports {
        HttpClient& http;
        const BackendEndpoint& endpoint;
        Session& session;
        MainLoop& loop;
        Random& random;
        /// A recording of so many bytes is on its way now; may be empty.
        std::function<void(std::size_t bytes)> sending = {};
    };
    explicit WhisperService(Ports ports) : ports_(std::move(ports)) {}

    [[nodiscard]] bool isWanted() override { return ports_.session.isSignedIn(); }
    /// Checked in this order: session, address, the file, HTTPS. The text is as the server sent it.
    [[nodiscard]] Request transcribe(const std::filesystem::path& file, const std::string& prompt,
                                     std::function<void(Result<std::string, Failure>)> done) override;

private:
    struct Upload {
        HttpRequest request;
        std::string token;
        std::size_t soundBytes = 0;
    };
    [[nodiscard]] Result<Upload, WhisperError> prepare(const std::filesystem::path& file, const std::string& prompt);
    [[nodiscard]] Result<std::string, WhisperError> read(const Result<HttpResponse, HttpFailure>& answer,
                                                         const std::string& token);

    Ports ports_;
};

}  // namespace tolvik
