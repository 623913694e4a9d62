#pragma once

#include <QString>
#include <QVariantList>
#include <QtQml/qqmlregistration.h>

#include "app/models/keyed_list_model.h"

namespace tolvik {

struct ProjectPageRow {
    /// Empty for the time on tasks without a project.
    QString id;
    QString name;
    int colorIndex = -1;
    bool current = false;
    /// "4 open tasks", "Last used 3 July", "No time yet".
    QString detail;
    /// Twelve parts of the longest week of any project, from 0 to 1; empty for the time without a project.
    QVariantList weeks;
    QString weekText;
    QString totalText;
    QString spoken;

    [[nodiscard]] const QString& key() const { return id; }
    static std::span<const RowRole<ProjectPageRow>> roles();
    bool operator==(const ProjectPageRow&) const = default;
};

/// The projects with their time, those of this week first.
class ProjectPageModel : public KeyedListModel<ProjectPageRow> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the projects page's model")
public:
    using KeyedListModel::KeyedListModel;
    void update(std::vector<ProjectPageRow> rows) { assign(std::move(rows)); }
};

struct ProjectTaskRow {
    QString id;
    QString title;
    int colorIndex = -1;
    QString lengthText;
    QString spoken;

    [[nodiscard]] const QString& key() const { return id; }
    static std::span<const RowRole<ProjectTaskRow>> roles();
    bool operator==(const ProjectTaskRow&) const = default;
};

/// The open tasks of one project, the longest first.
class ProjectTaskModel : public KeyedListModel<ProjectTaskRow> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the projects page's model")
public:
    using KeyedListModel::KeyedListModel;
    void update(std::vector<ProjectTaskRow> rows) { assign(std::move(rows)); }
};

}  // namespace tolvik
