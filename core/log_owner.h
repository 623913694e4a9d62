#pragma once

#include <string>

#include "core/value_store.h"

namespace tolvik {

/// The id of the user whose log this is; empty as long as nobody has signed in.
[[nodiscard]] std::string logOwner(const ValueStore& values);

/// Remembers that the owner's account is deleted. It was of this e-mail address: whoever signs up with it again goes on
/// with the log, which nobody else could ever be given back.
[[nodiscard]] Result<void, StoreError> noteDeletedAccount(ValueStore& values, const std::string& email);

/// Makes the log another user's: sets the present owner's collections, vocabulary and last operation aside under that
/// user's id and brings the new one's back, in one transaction. A log without an owner becomes the user's as it is, as
/// does that of a deleted account of the same address; an empty user changes nothing. True when other collections are
/// in place now. For when nobody has the log open.
[[nodiscard]] Result<bool, StoreError> giveLogTo(ValueStore& values, const std::string& user);

}  // namespace tolvik
