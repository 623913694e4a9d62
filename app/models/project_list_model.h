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
    static std::span<const RowRole<ProjectRow>> roles();
    bool operator==(const ProjectRow&) const = default;
};

/// The projects by name, for menus.
class ProjectListModel : public KeyedListModel<ProjectRow> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the home page's model")
public:
    using KeyedListModel::KeyedListModel;
    void update(const AppStore& store);
};

}  // namespace tolvik
