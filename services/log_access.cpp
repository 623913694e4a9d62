#include "services/log_access.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fmt/format.h>
#include <fstream>
#include <optional>
#include <sys/stat.h>
#include <thread>

#include "adapters/socket/command_socket_client.h"

namespace tolvik {
namespace {

namespace fs = std::filesystem;
using Moment = std::chrono::steady_clock::time_point;

/// However many wait for their turn, nobody waits longer.
constexpr Millis kLongestWait{60'000};

std::string holderName(std::optional<int> pid) {
    if (!pid) {
        return "another process";
    }
    std::string name;
    std::ifstream(fmt::format("/proc/{}/comm", *pid)) >> name;
    return name.empty() ? fmt::format("process {}", *pid) : fmt::format("process {} ({})", *pid, name);
}

std::optional<AccessError> makeFolder(const fs::path& folder) {
    std::error_code error;
    if (fs::is_directory(folder, error)) {
        return std::nullopt;
    }
    fs::create_directories(folder.parent_path(), error);
    if (!error && ::mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        error.assign(errno, std::generic_category());
    }
    if (error) {
        return AccessError{AccessError::Kind::folder,
                           fmt::format("The data folder {} cannot be made: {}. Mend its permissions, or set "
                                       "XDG_DATA_HOME to a folder that can be written.",
                                       folder.string(), error.message())};
    }
    return std::nullopt;
}

}  // namespace

Result<Access, AccessError> askOrLock(const Paths& paths, const std::string& request, Millis patience) {
    if (auto error = makeFolder(paths.data)) {
        return failure(std::move(*error));
    }
    const Moment start = std::chrono::steady_clock::now();
    Moment sinceHolder = start;
    std::optional<int> holder;
    auto lock = std::make_unique<StoreLock>(paths.lock().string());
    Millis pause{1};
    while (true) {
        auto answer = callCommandSocket(paths.socket(), request);
        if (answer) {
            return Access(std::move(*answer));
        }
        switch (answer.error()) {
            case CallError::stranger:
                return failure(AccessError{AccessError::Kind::stranger,
                                           fmt::format("{} belongs to another user.", paths.socket().string())});
            case CallError::unanswered:
                return failure(AccessError{AccessError::Kind::unanswered,
                                           "Tolvik ended or fell silent before it answered. Whether the command was "
                                           "carried out, this tells: tolvik status"});
            case CallError::tooLarge:
                return failure(AccessError{AccessError::Kind::tooLarge, "The answer is too large to pass on."});
            case CallError::nobody:
            case CallError::busy:
                break;
        }
        switch (lock->tryLock()) {
            case StoreLock::Outcome::held:
                return Access(std::move(lock));
            case StoreLock::Outcome::impossible:
                return failure(AccessError{
                    AccessError::Kind::folder,
                    fmt::format("The data folder {} cannot be written. Mend its permissions, or set XDG_DATA_HOME to a "
                                "folder that can be.",
                                paths.data.string())});
            case StoreLock::Outcome::elsewhere:
                break;
        }
        const Moment now = std::chrono::steady_clock::now();
        if (const auto present = lock->holder(); present != holder) {
            holder = present;
            sinceHolder = now;
        }
        if (now - sinceHolder >= patience || now - start >= kLongestWait) {
            return failure(AccessError{AccessError::Kind::held,
                                       fmt::format("The log is held by {}, which does not answer. Wait for it, or end "
                                                   "it, and try again.",
                                                   holderName(holder))});
        }
        std::this_thread::sleep_for(pause);
        pause = std::min(pause * 2, Millis{8});
    }
}

}  // namespace tolvik
