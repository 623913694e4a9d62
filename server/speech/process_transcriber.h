#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <sys/types.h>

#include "server/api/ports.h"

namespace tolvik::server {

/// Transcribes in a process of its own, which decodes the recording and hears it: what a sender crafted can crash no
/// more than that process, and its memory is there only while it is used. One recording at a time; a few may wait.
/// The server's process must ignore SIGPIPE.
class ProcessTranscriber final : public Transcriber {
public:
    struct Options {
        std::filesystem::path program;
        std::filesystem::path modelFolder;  ///< empty: the default one
        std::size_t mostWaiting = 4;
        /// From a recording's turn to its text, starting the process and loading the model included.
        std::chrono::milliseconds longest = std::chrono::seconds(14);
    };
    explicit ProcessTranscriber(Options options) : options_(std::move(options)) {}
    /// Ends the process.
    ~ProcessTranscriber() override;

    [[nodiscard]] Result<std::string, ServiceProblem> transcribe(std::string_view audio,
                                                                 std::string_view prompt) override;

private:
    [[nodiscard]] bool start();
    void end();
    /// One try with the present process; none when it died or did not answer in time.
    [[nodiscard]] std::optional<std::string> ask(std::string_view audio, std::string_view prompt);

    const Options options_;
    std::atomic<std::size_t> waiting_ = 0;
    std::mutex mutex_;  ///< one recording at a time
    pid_t process_ = -1;
    int to_ = -1;
    int from_ = -1;
};

}  // namespace tolvik::server
