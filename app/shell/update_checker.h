#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace tolvik {

/// What a look for a newer version found.
struct UpdateReport {
    enum class Kind : std::uint8_t {
        upToDate,   ///< nothing newer is known
        available,  ///< `text` says how to get it
        unknown,    ///< nobody could be asked; `text` says what to do
    };
    Kind kind = Kind::unknown;
    /// One or two sentences for the user.
    std::string text;
};

/// Asks whoever installs software on this machine for a newer version. Main loop only.
class UpdateChecker {
public:
    UpdateChecker() = default;
    UpdateChecker(const UpdateChecker&) = delete;
    UpdateChecker& operator=(const UpdateChecker&) = delete;
    virtual ~UpdateChecker() = default;

    /// `done` comes once on the main loop, later; a check that is already under way answers this caller too.
    virtual void check(std::function<void(const UpdateReport&)> done) = 0;
};

}  // namespace tolvik
