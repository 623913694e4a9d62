#include "dictionary/dictionary_manager.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

#include "base/json_writer.h"
#include "base/text.h"

namespace tolvik {
namespace {

/// How long announcements of changes start no pull after a change made here.
constexpr Millis holdOff{8000};
constexpr Millis firstRetry{1000};
constexpr Millis lastRetry{60'000};
constexpr const char* path = "/dictionaries";

std::string changeBody(const DictEntry& entry, Instant now, bool isNew) {
    std::string out;
    JsonObjectWriter object(out);
    object.text("id", entry.id.text());
    if (entry.tagId) {
        object.text("tagId", entry.tagId->text());
    } else {
        object.null("tagId");
    }
    object.text("term", entry.term);
    object.text("hint", entry.hint);
    if (isNew) {
        object.text("createdAt", formatInstant(now));
    }
    object.text("updatedAt", formatInstant(now));
    return out;
}

/// An entry as it is remembered for the server's copy; any body of this path reads back as one.
std::string recordOf(const DictEntry& entry) {
    std::string out;
    JsonObjectWriter object(out);
    object.text("id", entry.id.text());
    object.text("term", entry.term);
    object.text("hint", entry.hint);
    if (entry.tagId) {
        object.text("tagId", entry.tagId->text());
    }
    return out;
}

/// A change of `before`, or a new entry.
Mutation put(const DictEntry& entry, Instant now, const std::optional<DictEntry>& before) {
    return {"POST",
            path,
            changeBody(entry, now, !before),
            entry.id,
            {{RecordKind::dictionary, entry.id, before ? std::optional(recordOf(*before)) : std::nullopt}}};
}

Mutation deletion(const DictEntry& before) {
    return {"DELETE",
            std::string(path) + "/" + before.id.text(),
            std::nullopt,
            before.id,
            {{RecordKind::dictionary, before.id, recordOf(before)}}};
}

}  // namespace

DictionaryManager::DictionaryManager(DictionaryPorts ports) : ports_(ports) {
    load();
}

void DictionaryManager::load() {
    const auto bytes = ports_.values.get(storageKey);
    if (!bytes || !*bytes) {
        return;
    }
    if (auto decoded = decodeStorage(**bytes)) {
        storage_ = *std::move(decoded);
        return;
    }
    held_.writes.emplace_back(
        WriteBatch::PutValue{std::string(storageKey) + ".unreadable-" + formatInstant(ports_.clock.now()), **bytes});
}

std::vector<std::string> DictionaryManager::terms() const {
    std::vector<std::string> out;
    for (const DictEntry& entry : storage_.entries) {
        if (!entry.tagId) {
            out.push_back(entry.term);
        }
    }
    for (const DictEntry& entry : storage_.entries) {
        if (entry.tagId && entry.tagId == storage_.activeTagId) {
            out.push_back(entry.term);
        }
    }
    return out;
}

std::string DictionaryManager::vocabularyText(std::string_view projectName) const {
    std::vector<std::string> personal;
    std::vector<std::string> ofProject;
    for (const DictEntry& entry : storage_.entries) {
        if (!entry.tagId || entry.tagId == storage_.activeTagId) {
            (entry.tagId ? ofProject : personal)
                .push_back(entry.hint.empty() ? entry.term : entry.term + "=" + entry.hint);
        }
    }
    std::vector<std::string> groups;
    if (!personal.empty()) {
        groups.push_back(joined(personal, ", "));
    }
    if (!ofProject.empty()) {
        const std::string name = projectName.empty() ? "" : "[" + std::string(projectName) + "] ";
        groups.push_back(name + joined(ofProject, ", "));
    }
    return joined(groups, "; ");
}

std::optional<Identifier> DictionaryManager::addTerm(std::string_view term, std::string_view hint,
                                                     const std::optional<Identifier>& tagId) {
    DictEntry entry{{}, trimmed(toValidUtf8(term)), trimmed(toValidUtf8(hint)), tagId};
    if (entry.term.empty()) {
        return std::nullopt;
    }
    entry.id = ports_.random.identifier();
    const Instant now = ports_.clock.now();
    storage_.entries.push_back(entry);
    const Mutation owed = put(entry, now, std::nullopt);
    finish(now, {&owed, 1});
    return entry.id;
}

void DictionaryManager::editTerm(const Identifier& id, std::string_view term, std::string_view hint) {
    const auto found = std::ranges::find(storage_.entries, id, &DictEntry::id);
    if (found == storage_.entries.end()) {
        return;
    }
    DictEntry changed{id, trimmed(toValidUtf8(term)), trimmed(toValidUtf8(hint)), found->tagId};
    if (changed.term.empty() || changed == *found) {
        return;
    }
    const Instant now = ports_.clock.now();
    const Mutation owed = put(changed, now, *found);
    *found = changed;
    finish(now, {&owed, 1});
}

void DictionaryManager::deleteTerm(const Identifier& id) {
    const auto found = std::ranges::find(storage_.entries, id, &DictEntry::id);
    if (found != storage_.entries.end()) {
        const Mutation owed = deletion(*found);
        storage_.entries.erase(found);
        finish(ports_.clock.now(), {&owed, 1});
    }
}

void DictionaryManager::setActiveProject(const std::optional<Identifier>& tagId) {
    if (storage_.activeTagId != tagId) {
        storage_.activeTagId = tagId;
        save();
        changed_.emit();
    }
}

std::vector<Identifier> DictionaryManager::importEntries(std::string_view text,
                                                         const std::optional<Identifier>& tagId) {
    const Instant now = ports_.clock.now();
    std::vector<Identifier> ids;
    std::vector<Mutation> owed;
    for (auto& [term, hint] : planImport(parseImport(text).terms, storage_.entries, tagId).fresh) {
        DictEntry entry{ports_.random.identifier(), std::move(term), std::move(hint), tagId};
        owed.push_back(put(entry, now, std::nullopt));
        ids.push_back(entry.id);
        storage_.entries.push_back(std::move(entry));
    }
    if (!owed.empty()) {
        finish(now, owed);
    }
    return ids;
}

std::vector<DictionaryManager::Placed> DictionaryManager::deleteTerms(std::span<const Identifier> ids) {
    const std::set<Identifier> doomed(ids.begin(), ids.end());
    const Instant now = ports_.clock.now();
    std::vector<Placed> deleted;
    std::vector<Mutation> owed;
    std::vector<DictEntry> kept;
    for (std::size_t i = 0; i < storage_.entries.size(); ++i) {
        DictEntry& entry = storage_.entries[i];
        if (doomed.contains(entry.id)) {
            owed.push_back(deletion(entry));
            deleted.emplace_back(i, std::move(entry));
        } else {
            kept.push_back(std::move(entry));
        }
    }
    storage_.entries = std::move(kept);
    if (!owed.empty()) {
        finish(now, owed);
    }
    return deleted;
}

void DictionaryManager::restore(std::span<const Placed> entries) {
    std::set<Identifier> present;
    for (const DictEntry& entry : storage_.entries) {
        present.insert(entry.id);
    }
    const Instant now = ports_.clock.now();
    std::vector<Mutation> owed;
    for (const auto& [place, entry] : entries) {
        if (present.insert(entry.id).second) {
            const auto at = static_cast<std::ptrdiff_t>(std::min(place, storage_.entries.size()));
            storage_.entries.insert(storage_.entries.begin() + at, entry);
            owed.push_back(put(entry, now, std::nullopt));
        }
    }
    if (!owed.empty()) {
        finish(now, owed);
    }
}

const DictEntry* DictionaryManager::find(std::string_view term, const std::optional<Identifier>& tagId) const {
    const std::string wanted = caseFolded(trimmed(term));
    const auto found = std::ranges::find_if(storage_.entries, [&](const DictEntry& entry) {
        return entry.tagId == tagId && caseFolded(entry.term) == wanted;
    });
    return found == storage_.entries.end() ? nullptr : &*found;
}

std::size_t DictionaryManager::mergePulled(const std::vector<DictEntry>& pulled, const IdSet& removed,
                                           const IdSet& kept, bool isFull) {
    const auto before = storage_.entries;
    std::map<Identifier, DictEntry> theirs;
    for (const DictEntry& entry : pulled) {
        theirs.try_emplace(entry.id, entry);
    }
    std::vector<Mutation> owed;
    const Instant now = ports_.clock.now();
    std::erase_if(storage_.entries, [&](DictEntry& entry) {
        const auto found = theirs.find(entry.id);
        const bool known = found != theirs.end();
        if (kept.contains(entry.id)) {
            // The local version stays.
        } else if (known) {
            entry = found->second;
        } else if (removed.contains(entry.id)) {
            return true;
        } else if (isFull) {
            owed.push_back(put(entry, now, std::nullopt));
        }
        if (known) {
            theirs.erase(found);
        }
        return false;
    });
    for (const DictEntry& entry : pulled) {
        if (theirs.erase(entry.id) > 0 && !kept.contains(entry.id)) {
            storage_.entries.push_back(entry);
        }
    }
    if (!owed.empty()) {
        finish(now, owed);
    } else if (storage_.entries != before) {
        save();
        changed_.emit();
    }
    return owed.size();
}

void DictionaryManager::restoreCopies(std::span<const ServerCopy> copies) {
    const auto before = storage_.entries;
    for (const ServerCopy& copy : copies) {
        if (copy.kind != RecordKind::dictionary) {
            continue;
        }
        const auto found = std::ranges::find(storage_.entries, copy.id, &DictEntry::id);
        const auto decoded = copy.record ? decodeStorage("{\"entries\":[" + *copy.record + "]}") : std::nullopt;
        if (!copy.record && found != storage_.entries.end()) {
            storage_.entries.erase(found);
        } else if (decoded && decoded->entries.size() == 1) {
            if (found != storage_.entries.end()) {
                *found = decoded->entries.front();
            } else {
                storage_.entries.push_back(decoded->entries.front());
            }
        }
    }
    if (storage_.entries != before) {
        save();
        changed_.emit();
    }
}

void DictionaryManager::reload() {
    storage_ = {};
    load();
    changed_.emit();
}

void DictionaryManager::finish(Instant now, std::span<const Mutation> owed) {
    ports_.holdOff.suppressUntil(now + holdOff);
    ports_.mutations.stage(held_, owed);
    save();
    ports_.mutations.staged();
    changed_.emit();
}

void DictionaryManager::save() {
    WriteBatch batch = held_;
    batch.writes.emplace_back(WriteBatch::PutValue{std::string(storageKey), encodeStorage(storage_)});
    if (const auto committed = ports_.values.commit(batch); !committed) {
        saveProblem_ = committed.error();
        retryDelay_ = std::clamp(retryDelay_ * 2, firstRetry, lastRetry);
        retry_ = ports_.loop.after(retryDelay_, [this] {
            save();
            if (!saveProblem_) {
                changed_.emit();
            }
        });
        return;
    }
    held_.writes.clear();
    saveProblem_.reset();
    retryDelay_ = Millis{0};
    retry_.cancel();
}

}  // namespace tolvik
