#pragma once

#include "backend/endpoint.h"
#include "backend/http_client.h"
#include "backend/session.h"
#include "base/main_loop.h"
#include "voice/parse/command_executor.h"

namespace tolvik {

/// Why the server gave no command. `describe` gives its text.
struct VoiceParseError {
    enum class Kind : std::uint8_t {
        api,        ///< a status and what the server says; 0 when nothing was sent
        parse,      ///< the answer is not in the agreed form
        transport,  ///< no answer
    };
    Kind kind = Kind::api;
    int status = 0;
    std::string message = {};
};
[[nodiscard]] std::string describe(const VoiceParseError& error);

/// Has the server interpret a sentence about the candidate tasks. Main loop only.
class VoiceParseService final : public BackendParser {
public:
    struct Ports {
        HttpClient& http;
        const BackendEndpoint& endpoint;
        Session& session;
        MainLoop& loop;
    };
    explicit VoiceParseService(Ports ports) : ports_(ports) {}

    /// An action that is not known becomes "none".
    [[nodiscard]] Request ask(std::string_view transcript, const std::vector<Candidate>& tasks,
                              std::string_view dictionary, std::function<void(Result<Command, VoiceParseError>)> done);
    /// The same with any failure as none; it is told on the log, without the sentence.
    [[nodiscard]] Request parse(std::string_view transcript, const std::vector<Candidate>& tasks,
                                std::string_view dictionary, std::function<void(std::optional<Command>)> done) override;

private:
    [[nodiscard]] Result<Command, VoiceParseError> read(const Result<HttpResponse, HttpFailure>& answer,
                                                        const std::string& token);

    Ports ports_;
};

}  // namespace tolvik
