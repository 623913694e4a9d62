#pragma once

#include <QString>
#include <QtQml/qqmlregistration.h>

#include "app/models/keyed_list_model.h"
#include "core/app_store.h"

namespace tolvik {

struct ProjectRow {
    QString id;
    QString name;
    int colorIndex = 0;

    [[nodiscard]] const QString& key() const { return id; }
    bool operator==(const ProjectRow&) const = default;
};

/// The projects by name, for menus.
class ProjectListModel : public KeyedListModel<ProjectRow> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the home page's model")
public:
    enum Role { IdRole = Qt::UserRole + 1, NameRole, ColorIndexRole };

    using KeyedListModel::KeyedListModel;
    void update(const AppStore& store);

    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;
};

}  // namespace tolvik
