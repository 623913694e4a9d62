#include "sync/user_change.h"

#include "core/log_owner.h"

namespace tolvik {

Result<void, StoreError> followUser(ValueStore& values, SyncOutbox& outbox) {
    const std::string user = values.text("tolvik.auth.userId");
    if (user.empty()) {
        return {};
    }
    if (auto moved = outbox.userSignedIn(logOwner(values)); !moved) {
        return moved;
    }
    const auto given = giveLogTo(values, user);
    return given ? Result<void, StoreError>() : failure(given.error());
}

}  // namespace tolvik
