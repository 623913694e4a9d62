#pragma once

#include <QAbstractListModel>
#include <set>
#include <span>
#include <utility>
#include <vector>

namespace tolvik {

/// What a delegate reads from a row, and under which name.
template <class Row>
struct RowRole {
    const char* name;
    QVariant (*read)(const Row& row);
};

template <auto member>
struct RowMember;
template <class Row, class Value, Value Row::* member>
struct RowMember<member> {
    using Of = Row;
    static QVariant read(const Row& row) { return QVariant::fromValue(row.*member); }
};

/// A role that is a member of the row.
template <auto member>
constexpr RowRole<typename RowMember<member>::Of> rowRole(const char* name) {
    return {name, &RowMember<member>::read};
}

/// A list model whose rows are replaced as a whole and announced as the few changes that they amount to, so that the
/// view keeps its delegates, its focus and its editors. `Row` has equality; `key()`, which names the same thing from
/// one assignment to the next (keys need not be unique); and `roles()`, what delegates read. Main thread only.
template <class Row>
class KeyedListModel : public QAbstractListModel {
public:
    using QAbstractListModel::QAbstractListModel;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : static_cast<int>(rows_.size());
    }
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override {
        const bool known = index.isValid() && index.column() == 0 && index.row() >= 0 &&
                           static_cast<std::size_t>(index.row()) < rows_.size();
        const auto all = Row::roles();
        const auto at = static_cast<std::size_t>(role - kFirstRole);
        return known && role >= kFirstRole && at < all.size()
                   ? all[at].read(rows_[static_cast<std::size_t>(index.row())])
                   : QVariant();
    }
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override {
        QHash<int, QByteArray> names;
        int role = kFirstRole;
        for (const RowRole<Row>& one : Row::roles()) {
            names.insert(role++, one.name);
        }
        return names;
    }
    [[nodiscard]] const std::vector<Row>& rows() const { return rows_; }

protected:
    /// Rows that go and rows that come are announced in stretches, so that long lists stay cheap.
    void assign(std::vector<Row> next) {
        dropMissing(next);
        std::set<Key> known;
        for (const Row& row : rows_) {
            known.insert(row.key());
        }
        for (std::size_t i = 0; i < next.size(); ++i) {
            std::size_t end = i;
            while (end < next.size() && !known.contains(next[end].key())) {
                ++end;
            }
            if (end > i) {
                insert(i, next, end);
                i = end - 1;
            } else {
                place(i, std::move(next[i]));
            }
        }
        if (rows_.size() > next.size()) {
            remove(next.size(), rows_.size());
        }
    }

private:
    static constexpr int kFirstRole = Qt::UserRole + 1;

    using Key = std::decay_t<decltype(std::declval<const Row&>().key())>;

    void dropMissing(const std::vector<Row>& next) {
        std::set<Key> wanted;
        for (const Row& row : next) {
            wanted.insert(row.key());
        }
        for (std::size_t end = rows_.size(); end > 0;) {
            std::size_t begin = end;
            while (begin > 0 && !wanted.contains(rows_[begin - 1].key())) {
                --begin;
            }
            if (begin < end) {
                remove(begin, end);
            }
            end = begin > 0 ? begin - 1 : 0;
        }
    }

    void remove(std::size_t begin, std::size_t end) {
        beginRemoveRows({}, static_cast<int>(begin), static_cast<int>(end) - 1);
        rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(begin),
                    rows_.begin() + static_cast<std::ptrdiff_t>(end));
        endRemoveRows();
    }

    /// Rows [at, end) of `next` go where they belong.
    void insert(std::size_t at, std::vector<Row>& next, std::size_t end) {
        beginInsertRows({}, static_cast<int>(at), static_cast<int>(end) - 1);
        const auto from = next.begin() + static_cast<std::ptrdiff_t>(at);
        rows_.insert(rows_.begin() + static_cast<std::ptrdiff_t>(at), std::make_move_iterator(from),
                     std::make_move_iterator(next.begin() + static_cast<std::ptrdiff_t>(end)));
        endInsertRows();
    }

    void place(std::size_t at, Row row) {
        std::size_t found = at;
        while (found < rows_.size() && rows_[found].key() != row.key()) {
            ++found;
        }
        const int position = static_cast<int>(at);
        if (found == rows_.size()) {
            beginInsertRows({}, position, position);
            rows_.insert(rows_.begin() + position, std::move(row));
            endInsertRows();
            return;
        }
        if (found != at) {
            beginMoveRows({}, static_cast<int>(found), static_cast<int>(found), {}, position);
            Row moved = std::move(rows_[found]);
            rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(found));
            rows_.insert(rows_.begin() + position, std::move(moved));
            endMoveRows();
        }
        if (!(rows_[at] == row)) {
            rows_[at] = std::move(row);
            Q_EMIT this->dataChanged(this->index(position), this->index(position));
        }
    }

    std::vector<Row> rows_;
};

}  // namespace tolvik
