#pragma once

#include <QString>
#include <QtQml/qqmlregistration.h>

#include "app/models/keyed_list_model.h"
#include "core/app_store.h"
#include "dictionary/dict_entry.h"

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
    void update(const AppStore& store, const DictStorage& dictionary);
};

struct DictTermRow {
    QString id;
    QString term;
    QString hint;

    [[nodiscard]] const QString& key() const { return id; }
    static std::span<const RowRole<DictTermRow>> roles();
    bool operator==(const DictTermRow&) const = default;
};

/// The terms of one dictionary, the latest first.
class DictTermModel : public KeyedListModel<DictTermRow> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the dictionary page's model")
public:
    using KeyedListModel::KeyedListModel;
    /// Only terms that hold `search` in themselves or in their hint, whatever the case.
    void update(const std::vector<DictEntry>& entries, const std::optional<Identifier>& tagId, const QString& search);
};

}  // namespace tolvik
