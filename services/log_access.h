#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <variant>

#include "adapters/sqlite/store_lock.h"
#include "base/result.h"
#include "base/time.h"
#include "services/paths.h"

namespace tolvik {

/// Why a process neither got the log nor an answer from who has it.
struct AccessError {
    enum class Kind : std::uint8_t {
        held,        ///< somebody holds the log, and neither serves nor lets go
        unanswered,  ///< who serves ended or fell silent; the request may have been carried out
        stranger,    ///< the socket belongs to another user
        tooLarge,    ///< the request or the answer does not fit into a message
        folder,      ///< the data folder cannot be made or written
    };
    Kind kind = Kind::held;
    /// What to tell the user, with what to do next.
    std::string text;
};

/// The lock, for as long as the log is open; or the answer of the process that has it.
using Access = std::variant<std::unique_ptr<StoreLock>, std::string>;

/// How long a holder may neither serve nor let go.
constexpr Millis kHolderPatience{2000};

/// Asks the process that serves the log, or takes the log's lock. While another process holds the lock and does not
/// serve, waits for either; the patience begins anew with each new holder, so that many short commands at once all
/// come to their turn. Blocks. The data folder is made, readable for its owner only, when it is missing.
[[nodiscard]] Result<Access, AccessError> askOrLock(const Paths& paths, const std::string& request,
                                                    Millis patience = kHolderPatience);

}  // namespace tolvik
