#pragma once

#include <cstdint>

#include "base/time.h"
#include "server/storage/transaction.h"

namespace tolvik::server {

/// Makes an account's running entries and active tasks fit together, as every device does after a pull.
void settle(Transaction& transaction, std::int64_t account, Instant now);

}  // namespace tolvik::server
