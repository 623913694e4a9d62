#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"
#include "commands/command_message.h"
#include "core/app_store.h"
#include "voice/parse/command_executor.h"

namespace tolvik {

class AccountCommands;
class DictionaryManager;

/// What a person's vocabulary brings to recognition.
struct Vocabulary {
    std::vector<std::string> titles;
    std::vector<std::string> projects;
    std::vector<std::string> terms = {};
};

/// Carries commands out on the log, for the command line in its own process and for those that come over the socket.
/// Main loop only.
class CommandService {
public:
    struct Ports {
        AppStore& store;
        ValueStore& values;
        CommandExecutor& executor;
        const Clock& clock;
        const TimeZone& timeZone;
        /// The dictionaries' terms; may be empty.
        std::function<std::vector<std::string>()> terms = {};
        /// The user's vocabulary; null where a process has none.
        DictionaryManager* dictionary = nullptr;
        /// The commands about the account; null where a process has none.
        AccountCommands* account = nullptr;
        /// Holds the files beside the log; empty where a process has none.
        std::filesystem::path folder = {};
        /// The consent may have been changed; may be empty.
        std::function<void()> telemetryChanged = {};
        /// Brings the window to the front; empty where there is none.
        std::function<void()> raise = {};
        /// True where the process ends after the command: what cannot be saved now is lost.
        bool endsAfterwards = false;
    };
    using Done = std::function<void(CommandResponse)>;

    explicit CommandService(Ports ports);
    CommandService(const CommandService&) = delete;
    CommandService& operator=(const CommandService&) = delete;
    ~CommandService();

    /// `done` is called once, at once except for what waits for the server.
    void run(const CommandRequest& request, const Done& done);
    /// The same for an encoded request and an encoded response.
    void answer(std::string_view request, std::function<void(std::string)> reply);

    /// Titles of the candidates first, then of other open tasks, at most 200.
    [[nodiscard]] Vocabulary vocabulary() const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tolvik
