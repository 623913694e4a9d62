#include <fmt/format.h>

#include "core/app_store_impl.h"

namespace tolvik {
namespace {

constexpr std::string_view kUndoKey = "tolvik.undo";
constexpr Millis kFirstRetry{1000};
constexpr Millis kLastRetry{60'000};

}  // namespace

void AppStore::Impl::load() {
    tasks.open();
    entries.open();
    logs.open();
    tags.open();
    reindexTasks();
    (void)tags.all();
    earliestDate = DayKey::parse(ports.values.text("tolvik.sync.earliestDate"));
    StoreChange repair{ports.clock.now(), Timestamp(ports.clock.now()), {}};
    restoreInvariants(repair);
    currentDate = today();
    seenToday = currentDate;
    seenZone = ports.timeZone.name();
    if (!repair.isEmpty()) {
        finish(std::move(repair), std::nullopt);
    } else {
        if (!held.empty()) {
            flush();
        }
        rebuild();
    }
    scheduleMidnight();
}

bool AppStore::Impl::flush() {
    asideTimer.cancel();
    WriteBatch batch = held;
    tasks.stage(batch);
    entries.stage(batch);
    logs.stage(batch);
    tags.stage(batch);
    if (undoDirty) {
        if (operation) {
            std::string bytes;
            appendOperation(bytes, *operation);
            batch.writes.emplace_back(WriteBatch::PutValue{std::string(kUndoKey), std::move(bytes)});
        } else {
            batch.writes.emplace_back(WriteBatch::EraseValue{std::string(kUndoKey)});
        }
    }
    if (batch.empty()) {
        return true;
    }
    const auto committed = ports.values.commit(batch);
    if (!committed) {
        saveProblem = committed.error();
        retryDelay = std::clamp(retryDelay * 2, kFirstRetry, kLastRetry);
        retryTimer = ports.loop.after(retryDelay, [this] {
            const auto before = saveProblem;
            flush();
            if (saveProblem != before) {
                changed.emit();
            }
        });
        return false;
    }
    held.writes.clear();
    undoDirty = false;
    tasks.saved();
    entries.saved();
    logs.saved();
    tags.saved();
    saveProblem.reset();
    retryDelay = Millis{0};
    retryTimer.cancel();
    return true;
}

void AppStore::Impl::keepAside(std::string_view key, std::string_view bytes) {
    std::string aside = fmt::format("{}.unreadable-{}", key, formatInstant(ports.clock.now()));
    if (++asideCount > 1) {
        aside += fmt::format("-{}", asideCount);
    }
    tell(fmt::format("Part of the log could not be read. It is kept as \"{}\".", aside));
    held.writes.emplace_back(WriteBatch::PutValue{std::move(aside), std::string(bytes)});
    // Not now: the reader that found it may stand in the middle of a statement.
    asideTimer = ports.loop.after(Millis{0}, [this] { flush(); });
}

void AppStore::Impl::reportUnreadable(StoreError error) {
    if (!toldUnreadable) {
        toldUnreadable = true;
        tell(fmt::format("Part of the log cannot be read now; it is left as it is. {}", describe(error)));
    }
}

void AppStore::Impl::tell(std::string text) {
    const StoreNotice what{std::move(text)};
    if (notice.isConnected()) {
        notice.emit(what);
    } else {
        untold.push_back(what);
    }
}

const std::optional<OperationRecord>& AppStore::Impl::lastOperation() {
    if (!operationRead) {
        operationRead = true;
        if (const auto bytes = ports.values.get(kUndoKey); bytes && *bytes) {
            if (auto read = decoder.operation(**bytes)) {
                operation = std::move(*read);
            }
        }
    }
    return operation;
}

Result<void, std::string> AppStore::Impl::import(std::string_view json) {
    auto log = decoder.wholeLog(json);
    if (!log) {
        return failure(log.error());
    }
    if (!flush()) {
        return failure(std::string(describe(*saveProblem)));
    }
    const WholeLog before{tasks.all(), entries.all(), logs.all(), tags.all()};
    const std::string suffix = ".before-import-" + formatInstant(ports.clock.now());
    const auto keep = [&]<class Record>(const std::vector<Record>& records) {
        if (!records.empty()) {
            std::string bytes;
            appendRecords(bytes, records);
            held.writes.emplace_back(
                WriteBatch::PutValue{std::string(RecordShape<Record>::key) + suffix, std::move(bytes)});
        }
    };
    keep(before.tasks);
    keep(before.timeEntries);
    keep(before.switchLogs);
    keep(before.tags);
    const auto replaceBy = [&](WholeLog whole) {
        tasks.assign(std::move(whole.tasks));
        entries.assign(std::move(whole.timeEntries));
        logs.assign(std::move(whole.switchLogs));
        tags.assign(std::move(whole.tags));
        reindexTasks();
    };
    replaceBy(std::move(*log));
    if (!flush()) {
        held.writes.clear();
        replaceBy(before);
        return failure(std::string(describe(*saveProblem)));
    }
    deletedTaskIds.clear();
    for (const auto& weak : pulls) {
        if (const auto pull = weak.lock()) {
            pull->isVoid = true;
        }
    }
    StoreChange change = begin();
    restoreInvariants(change);
    finish(std::move(change), std::nullopt);
    return {};
}

}  // namespace tolvik
