#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ai/answer/answer.h"
#include "ai/answer/summary.h"
#include "backend/endpoint.h"
#include "backend/http_client.h"
#include "backend/session.h"
#include "base/clock.h"
#include "base/main_loop.h"

namespace tolvik {

/// Why the server's assistant gave no answer.
struct AIError {
    enum class Kind : std::uint8_t {
        noAuth,
        insecureTransport,
        badUrl,
        badResponse,  ///< also a 200 whose body is no answer
        network,      ///< no answer at all
    };
    Kind kind = Kind::network;
    /// For `badResponse`.
    int status = 0;
    /// The server's own, at most 200 characters; of `network` what happened.
    std::string message;

    /// For the user.
    [[nodiscard]] std::string text() const;
};

/// Asks the server for summaries, narratives and answers. Main loop only; callbacks come on the loop, never before the
/// call has returned, once each, and none after this object is gone. What it was made with outlives it.
class AIService {
public:
    struct Ports {
        const BackendEndpoint& endpoint;
        Session& session;
        HttpClient& http;
        MainLoop& loop;
        const Clock& clock;
        const TimeZone& timeZone;
    };
    template <class T>
    using Done = std::function<void(Result<T, AIError>)>;

    explicit AIService(Ports ports);
    AIService(const AIService&) = delete;
    AIService& operator=(const AIService&) = delete;
    ~AIService();

    void dailySummary(DayKey day, Done<DaySummary> done);
    void narrative(const DaySpan& days, Done<std::string> done);
    /// Of an answer's `totalMs` the sum of its citations.
    void query(std::string_view question, Done<Answer> done);

private:
    using Received = std::function<void(Result<std::string, AIError>)>;
    /// `received` gets the body of a 200.
    void send(RequestDraft draft, std::optional<DayKey> day, Received received);

    Ports ports_;
    std::list<std::unique_ptr<HttpExchange>> exchanges_;
    /// Gone when this is: what was posted then does nothing.
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

// What the server sends; none when it is something else.
[[nodiscard]] std::optional<DaySummary> readDaySummary(std::string_view json);
[[nodiscard]] std::optional<std::string> readNarrative(std::string_view json);
[[nodiscard]] std::optional<Answer> readAnswer(std::string_view json);

}  // namespace tolvik
