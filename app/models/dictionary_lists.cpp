#include "app/models/dictionary_lists.h"

#include <algorithm>
#include <array>
#include <map>

#include "app/models/wording.h"

namespace tolvik {

std::span<const RowRole<DictTargetRow>> DictTargetRow::roles() {
    static constexpr std::array all{
        rowRole<&DictTargetRow::id>("targetId"),           rowRole<&DictTargetRow::name>("name"),
        rowRole<&DictTargetRow::colorIndex>("colorIndex"), rowRole<&DictTargetRow::count>("count"),
        rowRole<&DictTargetRow::active>("active"),         rowRole<&DictTargetRow::spoken>("spoken")};
    return all;
}

std::span<const RowRole<DictTermRow>> DictTermRow::roles() {
    static constexpr std::array all{rowRole<&DictTermRow::id>("termId"), rowRole<&DictTermRow::term>("term"),
                                    rowRole<&DictTermRow::hint>("hint")};
    return all;
}

void DictTargetModel::update(const AppStore& store, const DictStorage& dictionary) {
    std::map<std::optional<Identifier>, int> counts;
    for (const DictEntry& entry : dictionary.entries) {
        ++counts[entry.tagId];
    }
    const auto said = [](const QString& name, int count, bool active) -> QString {
        const QString words = QStringLiteral("%1, %2 %3")
                                  .arg(name)
                                  .arg(count)
                                  .arg(count == 1 ? QStringLiteral("term") : QStringLiteral("terms"));
        return active ? words + QStringLiteral(", current") : words;
    };
    std::vector<DictTargetRow> next;
    for (const TagModel& tag : store.tags()) {
        const QString name = wording::fromUtf8(tag.name);
        const int count = counts[tag.id];
        const bool active = dictionary.activeTagId == tag.id;
        next.push_back({.id = wording::fromUtf8(tag.id.text()),
                        .name = name,
                        .colorIndex = static_cast<int>(tag.colorIndex),
                        .count = count,
                        .active = active,
                        .spoken = said(name, count, active)});
    }
    std::ranges::stable_sort(next, [](const DictTargetRow& a, const DictTargetRow& b) {
        return QString::localeAwareCompare(a.name, b.name) < 0;
    });
    const int personal = counts[std::nullopt];
    next.insert(next.begin(), {.id = {},
                               .name = QStringLiteral("Personal"),
                               .colorIndex = -1,
                               .count = personal,
                               .active = true,
                               .spoken = said(QStringLiteral("Personal"), personal, false)});
    assign(std::move(next));
}

void DictTermModel::update(const std::vector<DictEntry>& entries, const std::optional<Identifier>& tagId,
                           const QString& search) {
    const QString wanted = search.trimmed();
    std::vector<DictTermRow> next;
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
        if (entry->tagId != tagId) {
            continue;
        }
        DictTermRow row{.id = wording::fromUtf8(entry->id.text()),
                        .term = wording::fromUtf8(entry->term),
                        .hint = wording::fromUtf8(entry->hint)};
        if (wanted.isEmpty() || row.term.contains(wanted, Qt::CaseInsensitive) ||
            row.hint.contains(wanted, Qt::CaseInsensitive)) {
            next.push_back(std::move(row));
        }
    }
    assign(std::move(next));
}

}  // namespace tolvik
