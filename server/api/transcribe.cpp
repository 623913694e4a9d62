#include <algorithm>

#include "base/json_writer.h"
#include "base/text.h"
#include "server/api/handlers.h"
#include "server/api/multipart.h"
#include "server/api/replies.h"

namespace tolvik::server {
namespace {

constexpr Millis voiceWindow{std::chrono::minutes{10}};
constexpr std::int64_t mostVoice = 600;
/// 900 characters, whatever they are made of.
constexpr std::size_t longestPrompt = 4096;

Response answerOf(const ServiceProblem& trouble) {
    switch (trouble.kind) {
        case ServiceProblem::Kind::badInput:
            return badRequest(trouble.text);
        case ServiceProblem::Kind::busy: {
            Response out = problem(503, "busy", trouble.text);
            out.headers.emplace_back("Retry-After", "2");
            return out;
        }
        default:
            return problem(503, "unavailable", trouble.text);
    }
}

Response transcript(AppState& app, const Request& request) {
    const auto parts = readMultipart(request.header("content-type"), request.body);
    if (!parts) {
        return badRequest(parts.error());
    }
    const auto part = [&](std::string_view name) {
        const auto found = std::ranges::find(*parts, name, &FormPart::name);
        return found == parts->end() ? std::string_view() : found->bytes;
    };
    const std::string_view audio = part("audio");
    if (audio.empty()) {
        return badRequest("audio: missing");
    }
    const std::string_view prompt = part("prompt");
    if (prompt.size() > longestPrompt || !isUtf8(prompt)) {
        return badRequest("prompt: not a text of at most 4096 bytes");
    }
    if (app.ports.transcriber == nullptr) {
        return problem(503, "unavailable", "This server does not transcribe.");
    }
    const auto heard = app.ports.transcriber->transcribe(audio, prompt);
    if (!heard) {
        return answerOf(heard.error());
    }
    std::string out;
    {
        JsonObjectWriter writer(out);
        writer.text("transcript", *heard);
    }
    return json(std::move(out));
}

}  // namespace

Outcome transcribe(Context& context) {
    if (auto over = overLimit(context, "transcribe:" + context.session.userId, mostVoice, voiceWindow)) {
        return {*std::move(over)};
    }
    Outcome out;
    out.slow = [&app = context.app](const Request& request) { return transcript(app, request); };
    return out;
}

}  // namespace tolvik::server
