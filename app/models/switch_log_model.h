#pragma once

#include <QString>
#include <QtQml/qqmlregistration.h>

#include "app/models/keyed_list_model.h"
#include "base/clock.h"
#include "core/app_store.h"

namespace tolvik {

struct SwitchRow {
    QString id;
    QString taskId;
    QString time;
    QString title;
    QString reason;

    [[nodiscard]] const QString& key() const { return id; }
    static std::span<const RowRole<SwitchRow>> roles();
    bool operator==(const SwitchRow&) const = default;
};

/// The switches of the shown day, the latest first.
class SwitchLogModel : public KeyedListModel<SwitchRow> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the home page's model")
public:
    using KeyedListModel::KeyedListModel;
    void update(const AppStore& store, const TimeZone& zone);

    /// The row of the latest switch into the task; -1 when there is none.
    Q_INVOKABLE [[nodiscard]] int latestInto(const QString& taskId) const;
};

}  // namespace tolvik
