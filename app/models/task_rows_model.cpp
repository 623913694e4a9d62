#include "app/models/task_rows_model.h"

#include <QStringList>
#include <algorithm>
#include <array>
#include <cmath>

#include "app/models/wording.h"

namespace tolvik {
namespace {

// A bar is at most a few hundred pixels long; finer steps would only repaint it for nothing.
constexpr double kShareSteps = 256;

QString spokenOf(const TaskRow& row) {
    QStringList parts{row.title};
    parts << (row.project.isEmpty() ? QStringLiteral("no project") : row.project);
    parts << (row.totalMs > 0 ? wording::spokenLength(row.totalMs) : QStringLiteral("no time yet"));
    if (row.running) {
        parts << QStringLiteral("running");
    }
    if (row.done) {
        parts << QStringLiteral("done");
    }
    return parts.join(QStringLiteral(", "));
}

}  // namespace

std::span<const RowRole<TaskRow>> TaskRow::roles() {
    static constexpr std::array all{
        rowRole<&TaskRow::id>("taskId"),
        rowRole<&TaskRow::title>("title"),
        rowRole<&TaskRow::colorIndex>("colorIndex"),
        rowRole<&TaskRow::project>("project"),
        rowRole<&TaskRow::projectColor>("projectColor"),
        RowRole<TaskRow>{"lengthText", [](const TaskRow& row) { return QVariant(wording::lengthOrDash(row.totalMs)); }},
        rowRole<&TaskRow::share>("share"),
        rowRole<&TaskRow::running>("running"),
        rowRole<&TaskRow::done>("done"),
        RowRole<TaskRow>{"spoken", [](const TaskRow& row) { return QVariant(spokenOf(row)); }}};
    return all;
}

void TaskRowsModel::update(const AppStore& store) {
    std::vector<TaskRow> next;
    std::int64_t longest = 1;
    for (const TaskLogEntry& entry : store.dayRows()) {
        const TagModel* tag = entry.task.tagId ? store.tagById(*entry.task.tagId) : nullptr;
        next.push_back({.id = wording::fromUtf8(entry.task.id.text()),
                        .title = wording::fromUtf8(entry.task.title),
                        .colorIndex = static_cast<int>(entry.task.colorIndex),
                        .project = tag != nullptr ? wording::fromUtf8(tag->name) : QString(),
                        .projectColor = tag != nullptr ? static_cast<int>(tag->colorIndex) : -1,
                        .totalMs = entry.totalMs / 1000 * 1000,
                        .running = entry.task.isActive,
                        .done = !entry.task.isOpen()});
        longest = std::max(longest, entry.totalMs);
    }
    for (TaskRow& row : next) {
        row.share =
            std::round(static_cast<double>(row.totalMs) / static_cast<double>(longest) * kShareSteps) / kShareSteps;
    }
    std::ranges::stable_sort(next, [](const TaskRow& a, const TaskRow& b) {
        return a.running != b.running ? a.running : a.totalMs > b.totalMs;
    });
    assign(std::move(next));
}

}  // namespace tolvik
