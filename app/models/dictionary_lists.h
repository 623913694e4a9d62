#pragma once

#include <QAbstractListModel>
#include <QString>
#include <QtQml/qqmlregistration.h>
#include <cstddef>
#include <optional>
#include <span>
#include <vector>

#include "app/models/keyed_list_model.h"
#include "core/app_store.h"
#include "dictionary/dictionary_manager.h"

namespace tolvik {

struct DictTargetRow {
    /// Empty for the personal dictionary.
    QString id;
    QString name;
    int colorIndex = -1;
    int count = 0;
    /// Its terms are in effect.
    bool active = false;
    QString spoken;

    [[nodiscard]] const QString& key() const { return id; }
    static std::span<const RowRole<DictTargetRow>> roles();
    bool operator==(const DictTargetRow&) const = default;
};

/// The dictionaries: the personal one, then those of the projects by name.
class DictTargetModel : public KeyedListModel<DictTargetRow> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the dictionary page's model")
public:
    using KeyedListModel::KeyedListModel;
    void update(const AppStore& store, const DictionaryManager& dictionary);
};

/// The terms of one dictionary, the latest first. Rows are made as they are looked at, and changes announced in
/// stretches, so that many thousand terms cost little. Main thread only.
class DictTermModel : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the dictionary page's model")
public:
    using QAbstractListModel::QAbstractListModel;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    /// Only terms that hold `search` in themselves or in their hint, whatever the case.
    void update(const std::vector<DictEntry>& entries, const std::optional<Identifier>& tagId, const QString& search);

private:
    enum Role : int { kTermId = Qt::UserRole + 1, kTerm, kHint };
    using Wanted = std::span<const DictEntry* const>;
    [[nodiscard]] int rowOf(std::size_t place) const { return static_cast<int>(shown_.size() - 1 - place); }
    void dropMissing(std::size_t begin, std::size_t end, Wanted wanted);
    void addMissing(std::size_t begin, Wanted wanted);
    void erase(std::size_t begin, std::size_t end);
    void insert(std::size_t at, Wanted entries);
    void refresh(std::size_t at, const DictEntry& entry);

    /// In the order in which they were added; the rows run the other way.
    std::vector<DictEntry> shown_;
};

}  // namespace tolvik
