#pragma once

#include "core/value_store.h"
#include "sync/sync_outbox.h"

namespace tolvik {

/// Makes queue and log those of the user in the settings, as after a sign-in that ended halfway: what was queued
/// anonymously goes to the user whose log it is about, and another user's log is set aside. For the time before the
/// log is opened; cheap when there is nothing to do.
[[nodiscard]] Result<void, StoreError> followUser(ValueStore& values, SyncOutbox& outbox);

}  // namespace tolvik
