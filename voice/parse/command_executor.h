#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/app_store.h"
#include "voice/parse/command.h"
#include "voice/parse/local_voice_parser.h"

namespace tolvik {

/// The server's parser, asked when the local one is not sure and the user is signed in.
class BackendParser {
public:
    BackendParser() = default;
    BackendParser(const BackendParser&) = delete;
    BackendParser& operator=(const BackendParser&) = delete;
    virtual ~BackendParser() = default;

    struct Command {
        std::string action;
        std::optional<Identifier> taskId;
        std::string taskTitle;
        std::optional<std::string> reason;
    };
    struct Candidate {
        TaskInfo task;
        std::string status;
    };
    /// Destroying it cancels the request; no callback follows.
    using Request = std::shared_ptr<void>;

    /// Calls back once on the main loop; none stands for any failure.
    [[nodiscard]] virtual Request parse(std::string_view transcript, const std::vector<Candidate>& tasks,
                                        std::string_view dictionary,
                                        std::function<void(std::optional<Command>)> done) = 0;
};

/// The line that tells of an operation taken back, by the words of the store.
[[nodiscard]] inline std::string undoneLine(const std::string& operation) {
    return "Undone: " + operation;
}

/// Takes a sentence to a change of the log and one line of feedback. Main loop only.
class CommandExecutor {
public:
    /// A local result at or above it is executed without the backend.
    static constexpr double confidenceThreshold = 0.85;
    /// The lowest confidence at which a local start is accepted without the backend.
    static constexpr double localOnlyFloor = 0.5;
    static constexpr std::size_t maxCandidates = 50;

    struct Ports {
        AppStore& store;
        const LocalVoiceParser& parser;
        /// Null while there is no account.
        BackendParser* backend = nullptr;
        std::function<bool()> isSignedIn;
        /// The one-line vocabulary for the backend.
        std::function<std::string()> dictionary;
    };
    explicit CommandExecutor(Ports ports);
    CommandExecutor(const CommandExecutor&) = delete;
    CommandExecutor& operator=(const CommandExecutor&) = delete;
    ~CommandExecutor();

    /// The running task, then open tasks by latest change, at most `maxCandidates`, positions from 1.
    [[nodiscard]] std::vector<TaskInfo> candidates() const;

    /// Carries a sentence out. Signed out, `done` is called before this returns. A newer sentence drops an older one
    /// that still waits for the backend. A blank transcript is "none" and does nothing.
    void execute(std::string_view transcript, ChangeSource source, std::function<void(const CommandOutcome&)> done);

    /// What a sentence would do now, changing nothing, in the form of its outcome.
    [[nodiscard]] CommandOutcome preview(std::string_view transcript) const;

    /// The task that "resume" goes back to becomes the running one.
    CommandOutcome resume(ChangeSource source);

    /// After every sentence that was carried out, for analytics and the pill.
    Subscription onExecuted(std::function<void(const CommandOutcome&)> callback);

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik
