#pragma once

#include "base/clock.h"
#include "commands/command_message.h"
#include "core/app_store.h"
#include "core/value_store.h"

namespace tolvik {

class DictionaryManager;

struct DataPorts {
    AppStore& store;
    ValueStore& values;
    const Clock& clock;
    /// Null where a process has no vocabulary.
    DictionaryManager* dictionary;
};

/// `data get|keys|export|import`: the stored values as they are.
[[nodiscard]] CommandResponse runData(const DataPorts& data, const CommandRequest& request);

}  // namespace tolvik
