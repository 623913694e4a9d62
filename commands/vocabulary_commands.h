#pragma once

#include "commands/command_message.h"
#include "core/app_store.h"
#include "dictionary/dictionary_manager.h"

namespace tolvik {

/// `vocabulary add|edit|delete|import|list`: the personal terms, or with `--project` those of a project.
[[nodiscard]] CommandResponse runVocabulary(DictionaryManager& dictionary, const AppStore& store,
                                            const CommandRequest& request);
/// `project use NAME|none`: the project that new tasks get and whose terms count. Without a name it tells which one
/// that is.
[[nodiscard]] CommandResponse runProjectUse(DictionaryManager& dictionary, const AppStore& store,
                                            const CommandRequest& request);

}  // namespace tolvik
