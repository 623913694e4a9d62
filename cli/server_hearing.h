#pragma once

#include <filesystem>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "adapters/asio/asio_main_loop.h"
#include "services/paths.h"
#include "voice/capture/transcription_prompt.h"
#include "voice/capture/voice_manager.h"

namespace tolvik {

/// Who is signed in and what is known of the work: what a recording is sent with.
struct HearingWords {
    std::string email;
    PromptSource prompt;
};

/// The server's opinion of a recording, asked for on a thread of its own while this device recognises it too.
class ServerHearing {
public:
    using Answer = Result<std::string, TranscriptionClient::Failure>;

    /// Asks, when somebody is signed in.
    ServerHearing(const Paths& paths, HearingWords words, const std::filesystem::path& file);
    ServerHearing(const ServerHearing&) = delete;
    ServerHearing& operator=(const ServerHearing&) = delete;
    /// Gives up what is not answered.
    ~ServerHearing();

    /// Waits at most this long. None when nobody is signed in; no answer in time is a failure for which the device's
    /// text serves.
    [[nodiscard]] std::optional<Answer> await(Millis patience);

private:
    void ask(const Paths& paths, const HearingWords& words, const std::filesystem::path& file);

    AsioMainLoop loop_;
    std::promise<std::optional<Answer>> promise_;
    std::future<std::optional<Answer>> answer_;
    std::thread thread_;
};

}  // namespace tolvik
