#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/time.h"

namespace tolvik {

/// What is known of a process that did not end as it should.
struct CrashReport {
    std::string version;
    Instant startedAt;
    /// Absent when no signal was seen: the process was killed, or the machine went down.
    std::optional<Instant> crashedAt;
    /// "SIGSEGV", or empty.
    std::string signal;
    /// What the process did last, the oldest first. Names of operations, never anything of the user's.
    std::vector<std::string> crumbs;

    bool operator==(const CrashReport&) const = default;
};

/// A few hundred bytes beside the log that outlive the process: they are a mapped file, so that what was stored is
/// there whatever ends the process, and storing needs no call that is unsafe in a signal handler.
class CrashTrail {
public:
    /// The longest crumb in bytes, and how many are kept.
    static constexpr std::size_t kLongestCrumb = 47;
    static constexpr std::size_t kCrumbs = 16;

    /// Starts a trail in the file and gives the report of the process before it, if that did not end well. Without a
    /// file (a full disk) there is a trail that keeps nothing. One process at a time: whoever holds the log.
    [[nodiscard]] static std::unique_ptr<CrashTrail> begin(const std::filesystem::path& file, std::string_view version,
                                                           Instant now, std::optional<CrashReport>& before);
    CrashTrail(const CrashTrail&) = delete;
    CrashTrail& operator=(const CrashTrail&) = delete;
    /// The process ends as it should. Signals are left to others again.
    ~CrashTrail();

    /// Has the signals of a crash noted before they end the process as they always do. Once for each process.
    void watchSignals();
    /// Notes an operation, cut to its longest. Any thread, also a signal handler.
    void leave(std::string_view crumb) noexcept;

private:
    struct Page;
    explicit CrashTrail(Page* page) : page_(page) {}
    static void onSignal(int number);

    Page* page_;
    bool watches_ = false;
};

/// For the user, at the next start: what happened, and that the log is whole.
[[nodiscard]] std::string crashNotice(const CrashReport& report);
/// The few fields that are sent where the user allows it, as one JSON object.
[[nodiscard]] std::string crashJson(const CrashReport& report);

}  // namespace tolvik
