#include <ranges>

#include "core/app_store_impl.h"

namespace tolvik {
namespace {

constexpr Millis kHoldOff{8000};

std::string_view sourceText(ChangeSource source) {
    return source == ChangeSource::voice ? "voice" : "manual";
}

void close(TimeEntry& entry, Timestamp closing) {
    entry.endedAt = closing;
    entry.durationMs.reset();
    const auto start = entry.startedAt.instant();
    const auto end = closing.instant();
    if (start && end) {
        entry.durationMs = (*end - *start).count();
    }
}

/// Each field that the operation changed and nobody has changed since goes back; the others stay as they are.
template <class Record>
Record takenBack(const Record& before, const Record& after, const Record& present) {
    Record out = present;
    [&]<std::size_t... I>(std::index_sequence<I...>) {
        using Shape = RecordShape<Record>;
        auto target = Shape::fields(out);
        const auto was = Shape::fields(before);
        const auto became = Shape::fields(after);
        ((std::get<I>(target) == std::get<I>(became) ? void(std::get<I>(target) = std::get<I>(was)) : void()), ...);
    }(std::make_index_sequence<RecordShape<Record>::names.size()>{});
    return out;
}

}  // namespace

StoreChange AppStore::Impl::begin() {
    const Instant at = ports.clock.now();
    ports.holdOff.suppressUntil(at + kHoldOff);
    return {at, Timestamp(at), {}};
}

void AppStore::Impl::editTask(StoreChange& change, std::size_t index, const std::function<void(TaskModel&)>& edit) {
    this->edit<TaskModel>(change, tasks.placeOf(index), edit);
}

std::vector<PieceList<TimeEntry>::Place> AppStore::Impl::runningEntries() {
    std::vector<PieceList<TimeEntry>::Place> out;
    for (std::size_t p = 0; p < entries.pieceCount(); ++p) {
        if (entries.bounds(p).latestMs != INT64_MAX) {
            continue;
        }
        const auto items = entries.records(p);
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (items[i].isRunning()) {
                out.push_back({p, i});
            }
        }
    }
    return out;
}

void AppStore::Impl::closeEntries(StoreChange& change, const Identifier& taskId, Timestamp closing) {
    for (const auto place : runningEntries()) {
        if (entries.at(place).taskId == taskId) {
            edit<TimeEntry>(change, place, [&](TimeEntry& entry) { close(entry, closing); });
        }
    }
}

std::optional<Identifier> AppStore::Impl::deactivateAll(StoreChange& change) {
    std::optional<Identifier> previous;
    for (std::size_t i = 0; i < tasks.all().size(); ++i) {
        if (!tasks.all()[i].isActive) {
            continue;
        }
        previous = tasks.all()[i].id;
        editTask(change, i, [&](TaskModel& task) {
            task.isActive = false;
            task.updatedAt = change.now;
        });
        closeEntries(change, *previous, change.now);
    }
    return previous;
}

void AppStore::Impl::open(StoreChange& change, const Identifier& task, std::optional<Identifier> previous,
                          ChangeSource source, std::optional<std::string> reason) {
    TimeEntry entry;
    entry.id = ports.random.identifier();
    entry.taskId = task;
    entry.startedAt = change.now;
    entry.createdAt = change.now;
    create(change, entry);

    SwitchLog log;
    log.id = ports.random.identifier();
    log.fromTaskId = previous;
    log.toTaskId = task;
    log.switchedAt = change.now;
    if (reason && !reason->empty()) {
        log.reason = std::move(reason);
    }
    log.source = sourceText(source);
    create(change, std::move(log));
}

void AppStore::Impl::restoreInvariants(StoreChange& change) {
    const auto places = runningEntries();
    // The entry that goes on: the latest one whose task is open and active.
    std::optional<PieceList<TimeEntry>::Place> goesOn;
    for (const auto place : places) {
        const TimeEntry& entry = entries.at(place);
        const auto task = taskIndex.find(entry.taskId);
        if (task == taskIndex.end() || !tasks.all()[task->second].isActive ||
            tasks.all()[task->second].status == "done") {
            continue;
        }
        if (!goesOn || entries.at(*goesOn).startedAt <= entry.startedAt) {
            goesOn = place;
        }
    }
    const std::optional<TimeEntry> runs = goesOn ? std::optional(entries.at(*goesOn)) : std::nullopt;
    for (const auto place : places) {
        const TimeEntry entry = entries.at(place);
        if (runs && entry.id == runs->id) {
            continue;
        }
        // Nobody knows when it ended: no later than its day, the next start, and now.
        Instant end = change.at;
        if (const auto start = entry.startedAt.instant()) {
            const Instant dayEnd = ports.timeZone.startOf(ports.timeZone.dayOf(*start).plus(1)) - Millis{1000};
            end = std::min(end, dayEnd);
            if (const auto next = runs ? runs->startedAt.instant() : std::nullopt; next && *next > *start) {
                end = std::min(end, *next);
            }
            end = std::max(end, *start);
        }
        edit<TimeEntry>(change, place, [&](TimeEntry& e) { close(e, Timestamp(end)); });
    }
    for (std::size_t i = 0; i < tasks.all().size(); ++i) {
        if (tasks.all()[i].isActive && (!runs || tasks.all()[i].id != runs->taskId)) {
            editTask(change, i, [&](TaskModel& task) {
                task.isActive = false;
                task.updatedAt = change.now;
            });
        }
    }
}

void AppStore::Impl::takeBack(StoreChange& change, const OperationRecord& undone) {
    const auto each = [&]<class Record>(const std::vector<RecordChange<Record>>& images) {
        auto& all = list<Record>();
        for (const auto& image : images | std::views::reverse) {
            const Identifier& id = image.after ? image.after->id : image.before->id;
            if (!image.after) {
                continue;
            }
            const auto place = all.find(id);
            if (!place) {
                continue;
            }
            if (!image.before) {
                remove<Record>(change, *place);
            } else {
                edit<Record>(change, *place,
                             [&](Record& present) { present = takenBack(*image.before, *image.after, present); });
            }
        }
        std::vector<std::pair<std::size_t, Record>> deleted;
        for (const auto& image : images) {
            // Another device may have brought it back already.
            if (!image.after && !all.find(image.before->id)) {
                changesOf<Record>(change.done).push_back({std::nullopt, image.before, image.index});
                deleted.emplace_back(image.index, *image.before);
            }
        }
        all.insertAll(std::move(deleted));
    };
    each(undone.tags);
    each(undone.tasks);
    reindexTasks();
    each(undone.entries);
    each(undone.logs);
    for (const auto& image : undone.tasks) {
        if (!image.after) {
            deletedTaskIds.erase(image.before->id);
        }
    }
}

void AppStore::Impl::mendReferences(StoreChange& change) {
    IdSet tagIds;
    for (const TagModel& tag : tags.all()) {
        tagIds.insert(tag.id);
    }
    reindexTasks();
    for (std::size_t i = 0; i < tasks.all().size(); ++i) {
        const TaskModel& task = tasks.all()[i];
        const bool dangles = task.tagId && !tagIds.contains(*task.tagId);
        const bool fits = task.status == "done" ? task.completedAt.has_value() : !task.completedAt;
        if (dangles || !fits) {
            editTask(change, i, [&](TaskModel& t) {
                if (dangles) {
                    t.tagId.reset();
                }
                if (!fits) {
                    t.completedAt = t.status == "done" ? std::optional(change.now) : std::nullopt;
                }
                t.updatedAt = change.now;
            });
        }
    }
    const bool lostTask = std::ranges::any_of(change.done.tasks, [](const auto& image) { return !image.after; });
    const bool broughtBack = std::ranges::any_of(change.done.logs, [](const auto& image) { return !image.before; }) ||
                             std::ranges::any_of(change.done.entries, [](const auto& image) { return !image.before; });
    if (!lostTask && !broughtBack) {
        return;
    }
    removeIf<TimeEntry>(change, [&](const TimeEntry& entry) { return !taskIndex.contains(entry.taskId); });
    removeIf<SwitchLog>(change, [&](const SwitchLog& log) { return !taskIndex.contains(log.toTaskId); });
    for (std::size_t i = 0; i < logs.all().size(); ++i) {
        if (logs.all()[i].fromTaskId && !taskIndex.contains(*logs.all()[i].fromTaskId)) {
            edit<SwitchLog>(change, logs.placeOf(i), [](SwitchLog& log) { log.fromTaskId.reset(); });
        }
    }
}

void AppStore::Impl::reindexTasks() {
    taskIndex.clear();
    const auto& all = tasks.all();
    taskIndex.reserve(all.size() + 1);
    for (std::size_t i = 0; i < all.size(); ++i) {
        taskIndex.emplace(all[i].id, i);
    }
}

void AppStore::Impl::finish(StoreChange change, std::optional<std::string> words) {
    const auto mutations = mutationsOf(change.done);
    if (!mutations.empty()) {
        ports.mutations.stage(held, mutations);
    }
    note(change.done);
    for (const auto& image : change.done.tasks) {
        if (!image.before || !image.after) {
            reindexTasks();
            break;
        }
    }
    const bool hadOperation = !operationRead || operation.has_value();
    operationRead = true;
    operation.reset();
    if (words) {
        operation = std::move(change.done);
        operation->words = std::move(*words);
    }
    undoDirty = undoDirty || hadOperation || operation.has_value();
    flush();
    if (!mutations.empty()) {
        ports.mutations.staged();
    }
    rebuildAndTell();
}

}  // namespace tolvik
