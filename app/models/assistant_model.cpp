#include "app/models/assistant_model.h"

#include <QPointer>
#include <algorithm>
#include <array>
#include <optional>

#include "app/models/wording.h"
#include "reports/tracked_time.h"

namespace tolvik {

std::span<const RowRole<CitationRow>> CitationRow::roles() {
    static constexpr std::array all{rowRole<&CitationRow::id>("taskId"),
                                    rowRole<&CitationRow::title>("title"),
                                    rowRole<&CitationRow::colorIndex>("colorIndex"),
                                    rowRole<&CitationRow::lengthText>("lengthText"),
                                    rowRole<&CitationRow::known>("known"),
                                    rowRole<&CitationRow::spoken>("spoken")};
    return all;
}

AssistantModel::AssistantModel(Assistant& assistant, AppStore& store, const TimeZone& zone, QObject* parent)
    : QObject(parent), assistant_(assistant), store_(store), zone_(zone) {}

bool AssistantModel::ask(const QString& question) {
    const bool asked = assistant_.ask(question.toStdString(), [model = QPointer(this)](const AssistantReply& reply) {
        if (model) {
            model->show(reply);
        }
    });
    if (asked) {
        Q_EMIT changed();
    }
    return asked;
}

void AssistantModel::show(const AssistantReply& reply) {
    answer_ = wording::fromUtf8(reply.text);
    failed_ = reply.kind != AssistantReply::Kind::answer;
    std::vector<CitationRow> rows;
    for (const Citation& citation : reply.citations) {
        const TaskModel* task = store_.taskById(citation.taskId);
        CitationRow row{.id = wording::fromUtf8(citation.taskId.text()),
                        .title = task != nullptr ? wording::fromUtf8(task->title) : QStringLiteral("Unknown"),
                        .colorIndex = task != nullptr ? static_cast<int>(task->colorIndex) : -1,
                        .lengthText = wording::length(citation.timeMs),
                        .known = task != nullptr,
                        .spoken = {}};
        row.spoken = row.title + QStringLiteral(", ") + wording::spokenLength(citation.timeMs);
        rows.push_back(std::move(row));
    }
    citations_.update(std::move(rows));
    Q_EMIT changed();
}

void AssistantModel::dismiss() {
    if (!answer_.isEmpty()) {
        answer_.clear();
        failed_ = false;
        citations_.update({});
        Q_EMIT changed();
    }
}

void AssistantModel::showCitation(int row) {
    if (row < 0 || row >= citations_.rowCount()) {
        return;
    }
    const CitationRow& citation = citations_.rows()[static_cast<std::size_t>(row)];
    if (!citation.known) {
        return;
    }
    const Identifier id(citation.id.toStdString());
    std::optional<DayKey> last;
    for (const TimeEntry& entry : store_.timeEntries()) {
        const auto day = entry.taskId == id ? startDay(entry, zone_) : std::nullopt;
        if (day && (!last || *last < *day)) {
            last = day;
        }
    }
    if (last) {
        store_.selectDate(*last);
        Q_EMIT homeWanted();
    }
}

}  // namespace tolvik
