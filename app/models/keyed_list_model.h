#pragma once

#include <QAbstractListModel>
#include <utility>
#include <vector>

namespace tolvik {

/// A list model whose rows are replaced as a whole and announced as the few changes that they amount to, so that the
/// view keeps its delegates, its focus and its editors. `Row` has equality and `key()`, which names the same thing
/// from one assignment to the next; keys need not be unique. Main thread only.
template <class Row>
class KeyedListModel : public QAbstractListModel {
public:
    using QAbstractListModel::QAbstractListModel;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override {
        return parent.isValid() ? 0 : static_cast<int>(rows_.size());
    }
    [[nodiscard]] const std::vector<Row>& rows() const { return rows_; }

protected:
    [[nodiscard]] const Row* rowAt(const QModelIndex& index) const {
        const bool known = index.isValid() && index.column() == 0 && index.row() >= 0 &&
                           static_cast<std::size_t>(index.row()) < rows_.size();
        return known ? &rows_[static_cast<std::size_t>(index.row())] : nullptr;
    }

    void assign(std::vector<Row> next) {
        for (std::size_t i = 0; i < next.size(); ++i) {
            place(i, std::move(next[i]));
        }
        if (rows_.size() > next.size()) {
            beginRemoveRows({}, static_cast<int>(next.size()), static_cast<int>(rows_.size()) - 1);
            rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(next.size()), rows_.end());
            endRemoveRows();
        }
    }

private:
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
