// The program `tolvik-transcribe`: decodes and hears recordings for the server, one after the other, until its input
// ends or nothing came for some minutes. Only the server starts it.

#include <chrono>
#include <csignal>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "adapters/asio/asio_main_loop.h"
#include "adapters/audiofile/sound_decoder.h"
#include "adapters/speech/process_speech_recognizer.h"
#include "server/speech/frames.h"
#include "server/speech/prompt_vocabulary.h"

namespace {

using namespace tolvik;
using Json = nlohmann::json;

constexpr std::chrono::minutes idle{6};
constexpr Millis longestHearing{12'000};
/// Past any decoded recording that is accepted; a crafted one ends this process and no other.
[[maybe_unused]] constexpr rlim_t mostMemory = rlim_t{3} * 1024 * 1024 * 1024;

Json hear(AsioMainLoop& loop, ProcessSpeechRecognizer& recognizer, const std::string& prompt,
          const std::string& audio) {
    if (!recognizer.isAvailable()) {
        return {{"unavailable", "Speech is not set up on this server: " + recognizer.unavailableReason()}};
    }
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(audio.data());
    const auto sound = decodeSound({bytes, audio.size()});
    if (!sound) {
        return {{"badInput", "The recording cannot be read: " + sound.error()}};
    }
    std::optional<std::string> text;
    bool failed = false;
    SpeechCallbacks callbacks;
    callbacks.onFinal = [&](std::string heard) { text = std::move(heard); };
    callbacks.onError = [&](SpeechError) { failed = true; };
    const auto session = recognizer.begin(sound->format.sampleRate, sound->format.channels,
                                          server::vocabularyOfPrompt(prompt), std::move(callbacks));
    // Tenths of a second, as a microphone would give them: long speech is cut where it pauses.
    const std::span<const float> all(sound->interleaved);
    const auto piece = std::max<std::size_t>(
        1, static_cast<std::size_t>(sound->format.sampleRate / 10) * static_cast<std::size_t>(sound->format.channels));
    for (std::size_t at = 0; at < all.size(); at += piece) {
        session->append(all.subspan(at, std::min(piece, all.size() - at)));
    }
    session->finish();
    if (!loop.runUntil([&] { return text || failed; }, longestHearing) || !text) {
        return {{"unavailable", "The speech engine gave no answer."}};
    }
    return {{"text", *text}};
}

}  // namespace

int main(int argc, char** argv) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    // A sanitizer maps more than that for itself.
    const rlimit memory{mostMemory, mostMemory};
    ::setrlimit(RLIMIT_DATA, &memory);
#endif
    AsioMainLoop loop;
    ProcessSpeechRecognizer recognizer(loop, findSpeechPlaces(argc > 1 ? argv[1] : ""));
    if (recognizer.isAvailable()) {
        recognizer.prepare();
    }
    while (true) {
        const auto prompt = server::readFrame(STDIN_FILENO, server::FrameDeadline::clock::now() + idle);
        const auto audio =
            prompt ? server::readFrame(STDIN_FILENO, server::FrameDeadline::clock::now() + idle) : std::nullopt;
        if (!audio) {
            return 0;
        }
        // The engine's process may have ended since the last recording.
        loop.runPosted();
        const auto answer = hear(loop, recognizer, *prompt, *audio);
        if (!server::writeFrame(STDOUT_FILENO, answer.dump(-1, ' ', false, Json::error_handler_t::replace),
                                server::FrameDeadline::clock::now() + idle)) {
            return 0;
        }
    }
}
