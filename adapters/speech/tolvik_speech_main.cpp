#include <charconv>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <span>
#include <string>
#include <string_view>
#include <unistd.h>

#include "adapters/speech/speech_models.h"
#include "adapters/speech/speech_server.h"

/// The speech process. It is started by the application with a socket as its standard input; by hand it only says so.
int main(int count, char** values) {
    const std::span<char*> arguments(values, static_cast<std::size_t>(count));
    std::filesystem::path modelFolder;
    long idleSeconds = 300;
    bool serve = false;
    for (std::size_t at = 1; at < arguments.size(); ++at) {
        const std::string_view argument = arguments[at];
        const bool more = at + 1 < arguments.size();
        if (argument == "--serve") {
            serve = true;
        } else if (argument == "--model" && more) {
            modelFolder = arguments[++at];
        } else if (argument == "--idle-seconds" && more) {
            const std::string_view text = arguments[++at];
            std::from_chars(text.data(), text.data() + text.size(), idleSeconds);
        }
    }
    if (!serve) {
        std::cerr << "tolvik-speech turns speech into text for Tolvik, which starts it by itself.\n"
                     "To recognise a file: tolvik hear FILE --dry-run\n";
        return 2;
    }
    const int code =
        tolvik::serveSpeech(STDIN_FILENO, tolvik::findSpeechPlaces(modelFolder), std::chrono::seconds(idleSeconds));
    // Threads may be inside the engine: no destructors, no waiting.
    _exit(code);
}
