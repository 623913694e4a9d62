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

}  // namespace tolvik
