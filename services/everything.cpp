#include "services/everything.h"

#include <map>
#include <optional>
#include <simdjson.h>
#include <utility>
#include <vector>

#include "base/json_writer.h"

namespace tolvik {
namespace {

using Vocabulary = std::optional<DictStorage>;

/// The vocabulary of an export; none when it names none.
Result<Vocabulary, std::string> vocabularyIn(std::string_view json) {
    simdjson::dom::parser parser;
    simdjson::dom::element all;
    simdjson::dom::element found;
    if (parser.parse(json.data(), json.size()).get(all) != simdjson::SUCCESS ||
        all[DictionaryManager::storageKey].get(found) != simdjson::SUCCESS) {
        // What is no JSON at all is told by whoever reads the log.
        return Vocabulary();
    }
    auto storage = decodeStorage(simdjson::minify(found));
    if (!storage) {
        return failure("\"" + std::string(DictionaryManager::storageKey) + "\": not a vocabulary");
    }
    return storage;
}

Result<void, std::string> replaceVocabulary(DictionaryManager& dictionary, ValueStore& values, const Clock& clock,
                                            const DictStorage& next) {
    if (!dictionary.entries().empty()) {
        const std::string key =
            std::string(DictionaryManager::storageKey) + ".before-import-" + formatInstant(clock.now());
        WriteBatch aside;
        aside.writes.emplace_back(
            WriteBatch::PutValue{key, encodeStorage({dictionary.entries(), dictionary.activeTagId()})});
        if (const auto kept = values.commit(aside); !kept) {
            return failure(std::string(describe(kept.error())));
        }
    }
    // What is the same on both sides stays, and owes the server nothing.
    std::map<Identifier, const DictEntry*> wanted;
    for (const DictEntry& entry : next.entries) {
        wanted.emplace(entry.id, &entry);
    }
    std::vector<Identifier> doomed;
    for (const DictEntry& entry : dictionary.entries()) {
        const auto found = wanted.find(entry.id);
        if (found == wanted.end() || *found->second != entry) {
            doomed.push_back(entry.id);
        }
    }
    dictionary.deleteTerms(doomed);
    std::vector<DictionaryManager::Placed> placed;
    placed.reserve(next.entries.size());
    for (std::size_t i = 0; i < next.entries.size(); ++i) {
        placed.emplace_back(i, next.entries[i]);
    }
    dictionary.restore(placed);
    dictionary.setActiveProject(next.activeTagId);
    return {};
}

}  // namespace

Result<std::string, StoreError> exportEverything(const AppStore& store, const DictionaryManager& dictionary) {
    auto all = store.exportAll();
    if (!all) {
        return all;
    }
    // The log's export is an object that is never empty.
    all->pop_back();
    *all += ",\"" + std::string(DictionaryManager::storageKey) +
            "\":" + encodeStorage({dictionary.entries(), dictionary.activeTagId()}) + "}";
    return all;
}

Result<void, std::string> importEverything(AppStore& store, DictionaryManager& dictionary, ValueStore& values,
                                           const Clock& clock, std::string_view json) {
    const auto vocabulary = vocabularyIn(json);
    if (!vocabulary) {
        return failure(vocabulary.error());
    }
    if (auto imported = store.importAll(json); !imported) {
        return imported;
    }
    return *vocabulary ? replaceVocabulary(dictionary, values, clock, **vocabulary) : Result<void, std::string>();
}

}  // namespace tolvik
