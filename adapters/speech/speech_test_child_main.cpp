#include <array>
#include <chrono>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

#include "adapters/speech/speech_protocol.h"

// Stands in for the speech process in the tests of the recogniser: the last part of its --model argument says how it
// behaves. It loads no engine; it answers with what it received.

namespace {

using tolvik::SpeechMessage;

void answer(SpeechMessage::Kind kind, std::uint32_t utterance, std::string text) {
    SpeechMessage message;
    message.kind = kind;
    message.utterance = utterance;
    message.text = std::move(text);
    const std::string bytes = tolvik::encoded(message);
    if (send(STDIN_FILENO, bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0) {
        _exit(0);
    }
}

}  // namespace

int main(int count, char** values) {
    std::string mode;
    for (int at = 1; at + 1 < count; ++at) {
        if (std::string_view(values[at]) == "--model") {
            mode = values[at + 1];
            mode = mode.substr(mode.rfind('/') + 1);
        }
    }
    if (mode == "dies-at-start") {
        return 1;
    }
    if (mode == "slow") {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
    }
    std::size_t samples = 0;
    std::string title;
    tolvik::SpeechMessageReader reader;
    std::array<char, 65536> bytes{};
    while (true) {
        const ssize_t got = recv(STDIN_FILENO, bytes.data(), bytes.size(), 0);
        if (got <= 0) {
            return 0;
        }
        reader.append({bytes.data(), static_cast<std::size_t>(got)});
        while (true) {
            auto message = reader.next();
            if (!message) {
                return 2;
            }
            if (!*message) {
                break;
            }
            const SpeechMessage& given = **message;
            switch (given.kind) {
                case SpeechMessage::Kind::prepare:
                    if (mode == "cannot-load") {
                        answer(SpeechMessage::Kind::failed, 0, "no such model");
                    } else if (mode != "never-loads") {
                        answer(SpeechMessage::Kind::ready, 0, "test model");
                    }
                    break;
                case SpeechMessage::Kind::begin:
                    samples = 0;
                    title = given.vocabulary.taskTitles.empty() ? "" : given.vocabulary.taskTitles.front();
                    break;
                case SpeechMessage::Kind::samples:
                    samples += given.samples.size();
                    if (mode == "toils") {
                        answer(SpeechMessage::Kind::progress, given.utterance, {});
                    }
                    answer(SpeechMessage::Kind::partial, given.utterance, std::to_string(samples));
                    break;
                case SpeechMessage::Kind::finish:
                    if (mode == "crashes") {
                        abort();
                    }
                    if (mode == "toils") {
                        break;
                    }
                    if (mode == "hangs") {
                        std::this_thread::sleep_for(std::chrono::hours(1));
                    }
                    if (mode == "babbles") {
                        const std::string nonsense(64, '\xff');
                        static_cast<void>(send(STDIN_FILENO, nonsense.data(), nonsense.size(), MSG_NOSIGNAL) + 1);
                        break;
                    }
                    answer(SpeechMessage::Kind::final, given.utterance, title + " " + std::to_string(samples));
                    break;
                default:
                    break;
            }
        }
    }
}
