#include "dictionary/dictionary_manager.h"

#include <algorithm>
#include <iterator>
#include <unordered_map>
#include <utility>

#include "base/text.h"

namespace tolvik {
namespace {

/// How long announcements of changes start no pull after a change made here.
constexpr Millis holdOff{8000};
constexpr Millis firstRetry{1000};
constexpr Millis lastRetry{60'000};

std::vector<Identifier> idsOf(const std::vector<DictEntry>& entries) {
    std::vector<Identifier> ids(entries.size());
    std::ranges::transform(entries, ids.begin(), &DictEntry::id);
    return ids;
}

}  // namespace

DictionaryManager::DictionaryManager(DictionaryPorts ports) : ports_(ports), terms_(ports.values, ports.clock) {}

std::vector<std::string> DictionaryManager::terms() const {
    std::vector<std::string> out;
    for (const DictEntry& entry : entries()) {
        if (!entry.tagId) {
            out.push_back(entry.term);
        }
    }
    for (const DictEntry& entry : entries()) {
        if (entry.tagId && entry.tagId == activeTagId()) {
            out.push_back(entry.term);
        }
    }
    return out;
}

std::string DictionaryManager::vocabularyText(std::string_view projectName) const {
    std::vector<std::string> personal;
    std::vector<std::string> ofProject;
    for (const DictEntry& entry : entries()) {
        if (!entry.tagId || entry.tagId == activeTagId()) {
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
    const Mutation owed = termPut(entry, now, std::nullopt);
    terms_.add({entry});
    finish(owed);
    return entry.id;
}

void DictionaryManager::editTerm(const Identifier& id, std::string_view term, std::string_view hint) {
    const auto found = std::ranges::find(entries(), id, &DictEntry::id);
    if (found == entries().end()) {
        return;
    }
    DictEntry changed{id, trimmed(toValidUtf8(term)), trimmed(toValidUtf8(hint)), found->tagId};
    if (changed.term.empty() || changed == *found) {
        return;
    }
    const Instant now = ports_.clock.now();
    const Mutation owed = termPut(changed, now, *found);
    terms_.replace({std::move(changed)});
    finish(owed);
}

void DictionaryManager::deleteTerm(const Identifier& id) {
    (void)deleteTerms({&id, 1});
}

void DictionaryManager::setActiveProject(const std::optional<Identifier>& tagId) {
    if (activeTagId() != tagId) {
        terms_.setActive(tagId);
        tell();
    }
}

std::vector<Identifier> DictionaryManager::importEntries(std::string_view text,
                                                         const std::optional<Identifier>& tagId) {
    const Instant now = ports_.clock.now();
    TermsToAdd added = termsToAdd(text, entries(), tagId, now, identifiers(), makeReady());
    std::vector<Identifier> ids = idsOf(added.entries);
    if (!ids.empty()) {
        terms_.add(std::move(added.entries));
        finish(added.owed);
    }
    return ids;
}

std::vector<DictionaryManager::Placed> DictionaryManager::deleteTerms(std::span<const Identifier> ids) {
    const Instant now = ports_.clock.now();
    const TermsToDelete doomed = termsToDelete(ids, entries(), now, identifiers(), makeReady());
    if (doomed.ids.empty()) {
        return {};
    }
    auto gone = terms_.eraseIf([&](const DictEntry& entry) { return doomed.ids.contains(entry.id); });
    finish(doomed.owed);
    return gone;
}

void DictionaryManager::importLater(Workers& workers, std::string text, const std::optional<Identifier>& tagId,
                                    std::function<void(std::vector<Identifier>)> done) {
    auto work = std::make_shared<Work<TermsToAdd>>();
    work->make = [text = std::move(text), tagId, now = ports_.clock.now(), ids = identifiers(),
                  ready = makeReady()](auto existing) { return termsToAdd(text, existing, tagId, now, ids, ready); };
    work->take = [this, done = std::move(done)](TermsToAdd& added) {
        std::vector<Identifier> ids = idsOf(added.entries);
        terms_.add(std::move(added.entries));
        finishInTurns(added.owed, [done, ids = std::move(ids)] { done(ids); });
    };
    workOn(workers, work);
}

void DictionaryManager::deleteLater(Workers& workers, std::vector<Identifier> ids, std::function<void()> done) {
    auto work = std::make_shared<Work<TermsToDelete>>();
    work->make = [ids = std::move(ids), now = ports_.clock.now(), series = identifiers(),
                  ready = makeReady()](auto existing) { return termsToDelete(ids, existing, now, series, ready); };
    work->take = [this, done = std::move(done)](TermsToDelete& deleted) {
        (void)terms_.eraseIf([&](const DictEntry& entry) { return deleted.ids.contains(entry.id); });
        finishInTurns(deleted.owed, done);
    };
    workOn(workers, work);
}

template <class Ready>
void DictionaryManager::workOn(Workers& workers, const std::shared_ptr<Work<Ready>>& work) {
    work->existing = entries();
    work->revision = terms_.revision();
    workers.run([&workers, &loop = ports_.loop, weak = std::weak_ptr(alive_), work] {
        auto ready = std::make_shared<Ready>(work->make(work->existing));
        work->existing = {};
        loop.post([&workers, weak, work, ready]() mutable {
            const auto self = weak.lock();
            if (self && (*self)->terms_.revision() == work->revision) {
                work->take(*ready);
                // What is left of it is as long as it was.
                workers.run([rest = std::move(ready)] {});
            } else if (self) {
                (*self)->workOn(workers, work);
            }
        });
    });
}

BulkMutationSink::MakeReady DictionaryManager::makeReady() const {
    return ports_.bulk != nullptr ? ports_.bulk->makeReady() : BulkMutationSink::MakeReady();
}

IdentifierSeries DictionaryManager::identifiers() {
    const std::uint64_t high = ports_.random.next();
    return {high, ports_.random.next()};
}

void DictionaryManager::restore(std::span<const Placed> placed) {
    IdSet present;
    for (const DictEntry& entry : entries()) {
        present.insert(entry.id);
    }
    const Instant now = ports_.clock.now();
    std::vector<Mutation> owed;
    std::vector<Placed> back;
    for (const auto& [place, entry] : placed) {
        if (present.insert(entry.id).second) {
            back.emplace_back(place, entry);
            owed.push_back(termPut(entry, now, std::nullopt));
        }
    }
    if (!owed.empty()) {
        terms_.insert(std::move(back));
        finish(owedFor(std::move(owed), now, identifiers(), makeReady()));
    }
}

const DictEntry* DictionaryManager::find(std::string_view term, const std::optional<Identifier>& tagId) const {
    const std::string wanted = caseFolded(trimmed(term));
    const auto found = std::ranges::find_if(
        entries(), [&](const DictEntry& entry) { return entry.tagId == tagId && caseFolded(entry.term) == wanted; });
    return found == entries().end() ? nullptr : &*found;
}

std::size_t DictionaryManager::mergePulled(const std::vector<DictEntry>& pulled, const IdSet& removed,
                                           const IdSet& kept, bool isFull) {
    const std::uint64_t before = terms_.revision();
    std::unordered_map<Identifier, const DictEntry*> theirs;
    for (const DictEntry& entry : pulled) {
        theirs.try_emplace(entry.id, &entry);
    }
    const auto goes = [&](const DictEntry& entry) {
        return removed.contains(entry.id) && !theirs.contains(entry.id) && !kept.contains(entry.id);
    };
    // Taking out goes over all, also when there is nothing.
    if (std::ranges::any_of(entries(), goes)) {
        (void)terms_.eraseIf(goes);
    }
    const Instant now = ports_.clock.now();
    std::vector<Mutation> owed;
    std::vector<DictEntry> changed;
    for (const DictEntry& entry : entries()) {
        const auto found = theirs.find(entry.id);
        if (found != theirs.end() && !kept.contains(entry.id) && *found->second != entry) {
            changed.push_back(*found->second);
        } else if (found == theirs.end() && !kept.contains(entry.id) && isFull) {
            owed.push_back(termPut(entry, now, std::nullopt));
        }
        if (found != theirs.end()) {
            theirs.erase(found);
        }
    }
    terms_.replace(std::move(changed));
    std::vector<DictEntry> added;
    for (const DictEntry& entry : pulled) {
        if (theirs.erase(entry.id) > 0 && !kept.contains(entry.id)) {
            added.push_back(entry);
        }
    }
    terms_.add(std::move(added));
    const std::size_t queued = owed.size();
    if (queued > 0) {
        finish(owedFor(std::move(owed), now, identifiers(), makeReady()));
    } else if (terms_.revision() != before) {
        tell();
    }
    return queued;
}

void DictionaryManager::restoreCopies(std::span<const ServerCopy> copies) {
    const std::uint64_t before = terms_.revision();
    for (const ServerCopy& copy : copies) {
        if (copy.kind != RecordKind::dictionary) {
            continue;
        }
        const auto found = std::ranges::find(entries(), copy.id, &DictEntry::id);
        const bool isHere = found != entries().end();
        const auto decoded = copy.record ? decodeStorage("{\"entries\":[" + *copy.record + "]}") : std::nullopt;
        if (!copy.record && isHere) {
            (void)terms_.eraseIf([&](const DictEntry& entry) { return entry.id == copy.id; });
        } else if (decoded && decoded->entries.size() == 1) {
            const DictEntry& entry = decoded->entries.front();
            if (!isHere) {
                terms_.add({entry});
            } else if (entry != *found) {
                terms_.replace({entry});
            }
        }
    }
    if (terms_.revision() != before) {
        tell();
    }
}

void DictionaryManager::reload() {
    terms_.open();
    changed_.emit();
}

void DictionaryManager::finish(const Mutation& owed) {
    ports_.holdOff.suppressUntil(ports_.clock.now() + holdOff);
    ports_.mutations.stage(held_, {&owed, 1});
    save();
    ports_.mutations.staged();
    changed_.emit();
}

void DictionaryManager::finish(const TermsOwed& owed) {
    keep(owed);
    ports_.mutations.staged();
    changed_.emit();
}

void DictionaryManager::finishInTurns(const TermsOwed& owed, std::function<void()> done) {
    untold_.push_back(std::move(done));
    // Saving and what follows hold the loop for milliseconds each.
    if (!owed.isEmpty()) {
        isUntold_ = true;
        keep(owed);
    }
    tellInTurns();
}

void DictionaryManager::tellInTurns() {
    telling_ = ports_.loop.after(Millis{1}, [this] {
        if (ports_.bulk != nullptr && !ports_.bulk->takeIn()) {
            tellInTurns();
            return;
        }
        if (std::exchange(isUntold_, false)) {
            ports_.mutations.staged();
            changed_.emit();
        }
        for (const auto& call : std::exchange(untold_, {})) {
            call();
        }
    });
}

void DictionaryManager::keep(const TermsOwed& owed) {
    ports_.holdOff.suppressUntil(ports_.clock.now() + holdOff);
    if (owed.ready) {
        ports_.bulk->stageReady(held_, owed.ready);
    } else {
        ports_.mutations.stage(held_, owed.mutations);
    }
    save();
}

void DictionaryManager::tell() {
    save();
    changed_.emit();
}

void DictionaryManager::save() {
    WriteBatch batch = std::exchange(held_, {});
    const std::size_t heldCount = batch.writes.size();
    terms_.stage(batch);
    if (const auto committed = ports_.values.commit(batch); !committed) {
        batch.writes.resize(heldCount);
        held_ = std::move(batch);
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
    terms_.saved();
    saveProblem_.reset();
    retryDelay_ = Millis{0};
    retry_.cancel();
}

}  // namespace tolvik
