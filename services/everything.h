#pragma once

#include <string>
#include <string_view>

#include "base/clock.h"
#include "base/result.h"
#include "core/app_store.h"
#include "dictionary/dictionary_manager.h"

namespace tolvik {

/// All that a person has entered, as one JSON object: the log's four collections and the vocabulary, each under the key
/// that it is stored by. Main loop only.
[[nodiscard]] Result<std::string, StoreError> exportEverything(const AppStore& store,
                                                               const DictionaryManager& dictionary);

/// Replaces what is here by an export. It names at least one of the log's collections; those that it leaves out are
/// empty then, and a vocabulary that it leaves out stays as it is. What is replaced is kept aside under keys with
/// ".before-import-" and the instant. Nothing changes for a file that cannot be read; the error names the place.
[[nodiscard]] Result<void, std::string> importEverything(AppStore& store, DictionaryManager& dictionary,
                                                         ValueStore& values, const Clock& clock, std::string_view json);

}  // namespace tolvik
