#pragma once

#include <vector>

#include "core/mutation_sink.h"
#include "core/record_json.h"

namespace tolvik {

/// What a change owes the server: projects first, then tasks, entries and switch logs, of each the changed before the
/// created, then what was deleted. A task's deletion takes its entries and switch logs along on the server too.
[[nodiscard]] std::vector<Mutation> mutationsOf(const OperationRecord& change);

}  // namespace tolvik
