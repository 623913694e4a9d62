#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>
#include <functional>
#include <string>

#include "app/models/toast_model.h"
#include "base/main_loop.h"
#include "core/app_store.h"
#include "dictionary/dictionary_manager.h"

namespace tolvik {

/// What taking all data along lends from the rest of the application. Everything outlives the model.
struct DataPorts {
    AppStore& store;
    DictionaryManager& dictionary;
    ValueStore& values;
    const Clock& clock;
    const TimeZone& zone;
    Workers& workers;
    MainLoop& loop;
    ToastModel& toast;
    /// Asks the user where to save a file, or which to open; `done` is not called when the user thinks better of it.
    std::function<void(const QString& suggested, const QString& filter, std::function<void(QString path)> done)>
        chooseFile;
    std::function<void(const QString& filter, std::function<void(QString path)> done)> chooseExisting;
    /// "data_export" or "data_import" came to a good end.
    std::function<void(const std::string& what)> happened = {};
};

/// All data into one file and back, the same files as those of `tolvik data export` and `import`. The file is read and
/// written on a worker. Main thread only.
class DataModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the window's model")
    Q_PROPERTY(bool busy READ busy NOTIFY changed)
    /// Why the last one failed; empty when it did not.
    Q_PROPERTY(QString problem READ problem NOTIFY changed)
public:
    explicit DataModel(DataPorts ports, QObject* parent = nullptr);

    [[nodiscard]] bool busy() const { return busy_; }
    [[nodiscard]] QString problem() const { return problem_; }

    /// Asks for a place and writes everything there; the file appears whole or not at all.
    Q_INVOKABLE void exportAll();
    /// Asks for a file and emits `confirmWanted` with what it would replace, or imports at once where there is nothing
    /// to replace.
    Q_INVOKABLE void chooseImport();
    /// Replaces what is here by the file; the old data is kept aside.
    Q_INVOKABLE void importFrom(const QString& path);

signals:
    void changed();
    void confirmWanted(const QString& path, const QString& note);

private:
    void begin();
    void end(const QString& problem);
    void write(const QString& path, std::string bytes);
    void take(const std::string& bytes);

    DataPorts ports_;
    bool busy_ = false;
    QString problem_;
};

}  // namespace tolvik
