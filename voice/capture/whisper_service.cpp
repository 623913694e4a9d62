#include "voice/capture/whisper_service.h"

#include <algorithm>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <utility>

#include "base/json_reader.h"

namespace tolvik {
namespace {

constexpr Millis kTimeout{15'000};
constexpr std::size_t kLargestAnswer = 1'000'000;

std::string boundaryOf(Random& random) {
    std::string id = random.identifier().text();
    std::ranges::transform(id, id.begin(), [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; });
    return "tolvik-" + id;
}

std::string multipart(const std::string& boundary, const std::string& name, std::string_view sound,
                      const std::string& prompt) {
    std::string body;
    body.reserve(sound.size() + prompt.size() + 512);
    body += "--" + boundary + "\r\n";
    body += "Content-Disposition: form-data; name=\"audio\"; filename=\"" + name + "\"\r\n";
    body += "Content-Type: audio/mp4\r\n\r\n";
    body += sound;
    body += "\r\n";
    if (!prompt.empty()) {
        body += "--" + boundary + "\r\n";
        body += "Content-Disposition: form-data; name=\"prompt\"\r\n\r\n";
        body += prompt + "\r\n";
    }
    return body + "--" + boundary + "--\r\n";
}

Result<std::string, WhisperError> readTranscript(std::string_view body) {
    JsonReader reader({.bytes = kLargestAnswer});
    const auto json = reader.readObject(body);
    std::string_view text;
    if (!json || json->at_key("transcript").get(text) != simdjson::SUCCESS) {
        return failure(WhisperError{WhisperError::Kind::malformedJson});
    }
    return std::string(text);
}

/// What this device heard may stand in where the server has no opinion; a refusal of the request itself is told.
bool deviceTextServes(const WhisperError& error) {
    switch (error.kind) {
        case WhisperError::Kind::noAuth:
        case WhisperError::Kind::busy:
        case WhisperError::Kind::transport:
            return true;
        case WhisperError::Kind::badResponse:
            return error.status == 401;
        case WhisperError::Kind::insecureTransport:
        case WhisperError::Kind::malformedJson:
            break;
    }
    return false;
}

}  // namespace

std::string describe(const WhisperError& error) {
    switch (error.kind) {
        case WhisperError::Kind::badResponse:
            return fmt::format("Transcribe failed ({}): {}", error.status, error.message);
        case WhisperError::Kind::noAuth:
            return "Sign in required for voice transcription";
        case WhisperError::Kind::insecureTransport:
            return "Refusing to upload audio over plain HTTP";
        case WhisperError::Kind::malformedJson:
            return "Transcribe response was not valid JSON";
        case WhisperError::Kind::busy:
            return fmt::format("The server is busy (HTTP {}). Try again in a moment.", error.status);
        case WhisperError::Kind::transport:
            break;
    }
    return "Network error: " + error.message;
}

Result<WhisperService::Upload, WhisperError> WhisperService::prepare(const std::filesystem::path& file,
                                                                     const std::string& prompt) {
    auto token = ports_.session.currentToken();
    if (!token) {
        return failure(WhisperError{WhisperError::Kind::noAuth});
    }
    const std::string boundary = boundaryOf(ports_.random);
    auto request = anonymousRequest(
        ports_.endpoint,
        {.method = "POST",
         .path = "/voice/transcribe",
         .timeout = kTimeout,
         .namesClient = false,
         .headers = {{"content-type", "multipart/form-data; boundary=" + boundary}, {"x-client", "macos"}}});
    if (!request) {
        return failure(WhisperError{WhisperError::Kind::badResponse, 0, "Invalid backend URL"});
    }
    std::ifstream stream(file, std::ios::binary);
    const std::string sound{std::istreambuf_iterator<char>(stream), {}};
    if (!stream.is_open() || stream.bad()) {
        return failure(WhisperError{WhisperError::Kind::transport, 0, "the recording could not be read"});
    }
    if (!isHttps(ports_.endpoint.baseUrl())) {
        return failure(WhisperError{WhisperError::Kind::insecureTransport});
    }
    addAuthorization(*request, *token);
    request->body = multipart(boundary, file.filename().string(), sound, prompt);
    return Upload{std::move(*request), std::move(*token), sound.size()};
}

Result<std::string, WhisperError> WhisperService::read(const Result<HttpResponse, HttpFailure>& answer,
                                                       const std::string& token) {
    if (!answer) {
        return answer.error().kind == HttpFailure::Kind::invalidUrl
                   ? failure(WhisperError{WhisperError::Kind::badResponse, 0, "Invalid backend URL"})
                   : failure(WhisperError{WhisperError::Kind::transport, 0, answer.error().description});
    }
    const int status = answer->status;
    if (status == 200) {
        return readTranscript(answer->body);
    }
    if (status == 429 || status >= 500) {
        return failure(WhisperError{WhisperError::Kind::busy, status});
    }
    if (status == 401) {
        ports_.session.handleUnauthorized(token);
    }
    return failure(WhisperError{WhisperError::Kind::badResponse, status, briefServerMessage(answer->body)});
}

TranscriptionClient::Request WhisperService::transcribe(const std::filesystem::path& file, const std::string& prompt,
                                                        std::function<void(Result<std::string, Failure>)> done) {
    const auto told = [](const WhisperError& error) {
        return failure(Failure{describe(error), deviceTextServes(error)});
    };
    auto upload = prepare(file, prompt);
    if (!upload) {
        auto waiting = std::make_shared<Timer>();
        *waiting =
            ports_.loop.after(Millis{0}, [done = std::move(done), answer = told(upload.error())] { done(answer); });
        return waiting;
    }
    if (ports_.sending) {
        ports_.sending(upload->soundBytes);
    }
    return ports_.http.send(std::move(upload->request), [this, told, token = upload->token, done = std::move(done)](
                                                            const Result<HttpResponse, HttpFailure>& answer) {
        auto text = read(answer, token);
        if (text) {
            done(std::move(*text));
        } else {
            done(told(text.error()));
        }
    });
}

}  // namespace tolvik
