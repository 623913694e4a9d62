#include "app/models/dictionary_lists.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <map>

#include "app/models/wording.h"

namespace tolvik {
namespace {

/// Up to here it pays to announce each row.
constexpr std::size_t kFewRows = 64;

}  // namespace

std::span<const RowRole<DictTargetRow>> DictTargetRow::roles() {
    static constexpr std::array all{
        rowRole<&DictTargetRow::id>("targetId"),           rowRole<&DictTargetRow::name>("name"),
        rowRole<&DictTargetRow::colorIndex>("colorIndex"), rowRole<&DictTargetRow::count>("count"),
        rowRole<&DictTargetRow::active>("active"),         rowRole<&DictTargetRow::spoken>("spoken")};
    return all;
}

void DictTargetModel::update(const AppStore& store, const DictionaryManager& dictionary) {
    std::map<std::optional<Identifier>, int> counts;
    for (const DictEntry& entry : dictionary.entries()) {
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
        const bool active = dictionary.activeTagId() == tag.id;
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

int DictTermModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(shown_.size());
}

QVariant DictTermModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const DictEntry& entry = shown_[shown_.size() - 1 - static_cast<std::size_t>(index.row())];
    switch (role) {
        case kTermId:
            return wording::fromUtf8(entry.id.text());
        case kTerm:
            return wording::fromUtf8(entry.term);
        case kHint:
            return wording::fromUtf8(entry.hint);
        default:
            return {};
    }
}

QHash<int, QByteArray> DictTermModel::roleNames() const {
    return {{kTermId, "termId"}, {kTerm, "term"}, {kHint, "hint"}};
}

void DictTermModel::update(const std::vector<DictEntry>& entries, const std::optional<Identifier>& tagId,
                           const QString& search) {
    const QString wanted = search.trimmed();
    const auto holds = [&](const std::string& text) {
        return wording::fromUtf8(text).contains(wanted, Qt::CaseInsensitive);
    };
    std::vector<const DictEntry*> next;
    for (const DictEntry& entry : entries) {
        if (entry.tagId == tagId && (wanted.isEmpty() || holds(entry.term) || holds(entry.hint))) {
            next.push_back(&entry);
        }
    }
    // What is the same at both ends stays as it is; mostly that is all but one stretch.
    const auto same = [](const DictEntry& shown, const DictEntry* entry) { return shown.id == entry->id; };
    const auto [oldEnd, newEnd] = std::ranges::mismatch(shown_, next, same);
    const auto begin = static_cast<std::size_t>(oldEnd - shown_.begin());
    for (std::size_t i = 0; i < begin; ++i) {
        refresh(i, *next[i]);
    }
    std::size_t behind = 0;
    while (behind < std::min(shown_.size(), next.size()) - begin &&
           same(shown_[shown_.size() - 1 - behind], next[next.size() - 1 - behind])) {
        refresh(shown_.size() - 1 - behind, *next[next.size() - 1 - behind]);
        ++behind;
    }
    const Wanted middle(next.data() + begin, next.size() - behind - begin);
    if (middle.empty()) {
        erase(begin, shown_.size() - behind);
    } else if (shown_.size() - behind == begin) {
        insert(begin, middle);
    } else if (std::max(shown_.size() - behind - begin, middle.size()) > kFewRows) {
        beginResetModel();
        std::vector<DictEntry> all;
        all.reserve(next.size());
        std::ranges::transform(next, std::back_inserter(all), [](const DictEntry* entry) { return *entry; });
        shown_ = std::move(all);
        endResetModel();
    } else {
        dropMissing(begin, shown_.size() - behind, middle);
        addMissing(begin, middle);
    }
}

/// Of the places [begin, end) only entries stay that are wanted, if they stand in the same order.
void DictTermModel::dropMissing(std::size_t begin, std::size_t end, Wanted wanted) {
    std::size_t to = wanted.size();
    for (std::size_t at = end; at > begin; --at) {
        std::size_t found = to;
        while (found > 0 && wanted[found - 1]->id != shown_[at - 1].id) {
            --found;
        }
        if (found > 0) {
            to = found - 1;
        } else {
            erase(at - 1, at);
        }
    }
}

/// Puts in what is wanted from `begin` on; what stands there is wanted, in that order.
void DictTermModel::addMissing(std::size_t begin, Wanted wanted) {
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        if (begin + i < shown_.size() && shown_[begin + i].id == wanted[i]->id) {
            refresh(begin + i, *wanted[i]);
        } else {
            insert(begin + i, wanted.subspan(i, 1));
        }
    }
}

void DictTermModel::erase(std::size_t begin, std::size_t end) {
    if (begin < end) {
        beginRemoveRows({}, rowOf(end - 1), rowOf(begin));
        shown_.erase(shown_.begin() + static_cast<std::ptrdiff_t>(begin),
                     shown_.begin() + static_cast<std::ptrdiff_t>(end));
        endRemoveRows();
    }
}

void DictTermModel::insert(std::size_t at, Wanted entries) {
    const int row = static_cast<int>(shown_.size() - at);
    beginInsertRows({}, row, row + static_cast<int>(entries.size()) - 1);
    std::vector<DictEntry> copies;
    copies.reserve(entries.size());
    std::ranges::transform(entries, std::back_inserter(copies), [](const DictEntry* entry) { return *entry; });
    shown_.insert(shown_.begin() + static_cast<std::ptrdiff_t>(at), std::make_move_iterator(copies.begin()),
                  std::make_move_iterator(copies.end()));
    endInsertRows();
}

void DictTermModel::refresh(std::size_t at, const DictEntry& entry) {
    if (shown_[at] != entry) {
        shown_[at] = entry;
        Q_EMIT dataChanged(index(rowOf(at)), index(rowOf(at)));
    }
}

}  // namespace tolvik
