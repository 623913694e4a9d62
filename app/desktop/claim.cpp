#include "app/desktop/claim.h"

#include <utility>
#include <variant>

#include "commands/command_message.h"
#include "services/log_access.h"

namespace tolvik {

Claim claimLog(const Paths& paths, bool raise) {
    CommandRequest request;
    // A start at login that finds a desktop has nothing to ask of it, but must hear that there is one.
    request.command = raise ? "raise" : "status";
    auto access = askOrLock(paths, encode(request));
    Claim claim;
    if (!access) {
        claim.problem = access.error().text;
    } else if (auto* lock = std::get_if<std::unique_ptr<StoreLock>>(&*access)) {
        claim.outcome = Claim::Outcome::owner;
        claim.lock = std::move(*lock);
    } else {
        claim.outcome = Claim::Outcome::another;
    }
    return claim;
}

}  // namespace tolvik
