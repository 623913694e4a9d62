#include "app/models/data_model.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QSaveFile>
#include <utility>

#include "app/models/wording.h"
#include "services/everything.h"

namespace tolvik {
namespace {

constexpr auto kFilter = "JSON (*.json)";

QString plural(std::size_t count, const char* one, const char* many) {
    return QStringLiteral("%1 %2").arg(count).arg(QString::fromLatin1(count == 1 ? one : many));
}

QString contentsOf(const AppStore& store, const DictionaryManager& dictionary) {
    return QStringLiteral("%1, %2, %3 and %4")
        .arg(plural(store.tasks().size(), "task", "tasks"), plural(store.timeEntries().size(), "entry", "entries"),
             plural(store.tags().size(), "project", "projects"), plural(dictionary.entries().size(), "term", "terms"));
}

}  // namespace

DataModel::DataModel(DataPorts ports, QObject* parent) : QObject(parent), ports_(std::move(ports)) {}

void DataModel::begin() {
    busy_ = true;
    problem_.clear();
    Q_EMIT changed();
}

void DataModel::end(const QString& problem) {
    busy_ = false;
    problem_ = problem;
    Q_EMIT changed();
}

// --- out -------------------------------------------------------------------------------------------------------------

void DataModel::exportAll() {
    if (busy_) {
        return;
    }
    const QString day = wording::fromUtf8(ports_.zone.dayOf(ports_.clock.now()).text());
    ports_.chooseFile(QStringLiteral("tolvik-%1.json").arg(day), QString::fromLatin1(kFilter),
                      [model = QPointer(this)](const QString& path) {
                          if (!model || model->busy_ || path.isEmpty()) {
                              return;
                          }
                          model->begin();
                          auto bytes = exportEverything(model->ports_.store, model->ports_.dictionary);
                          if (bytes) {
                              model->write(path, std::move(*bytes));
                          } else {
                              model->end(wording::fromUtf8(std::string(describe(bytes.error()))));
                          }
                      });
}

void DataModel::write(const QString& path, std::string bytes) {
    ports_.workers.run([model = QPointer(this), &loop = ports_.loop, path, bytes = std::move(bytes)] {
        QSaveFile file(path);
        const auto size = static_cast<qint64>(bytes.size());
        const bool written = file.open(QIODevice::WriteOnly) && file.write(bytes.data(), size) == size && file.commit();
        const QString problem = written ? QString() : file.errorString();
        loop.post([model, path, problem] {
            if (!model) {
                return;
            }
            model->end(problem.isEmpty() ? QString() : QStringLiteral("%1 was not written: %2").arg(path, problem));
            if (problem.isEmpty()) {
                model->ports_.toast.say(QStringLiteral("Exported to %1").arg(QFileInfo(path).fileName()));
                if (model->ports_.happened) {
                    model->ports_.happened("data_export");
                }
            }
        });
    });
}

// --- in --------------------------------------------------------------------------------------------------------------

void DataModel::chooseImport() {
    if (busy_) {
        return;
    }
    ports_.chooseExisting(QString::fromLatin1(kFilter), [model = QPointer(this)](const QString& path) {
        if (!model || path.isEmpty()) {
            return;
        }
        const DataPorts& ports = model->ports_;
        const bool isFresh = ports.store.tasks().empty() && ports.store.timeEntries().empty() &&
                             ports.store.tags().empty() && ports.dictionary.entries().empty();
        if (isFresh) {
            model->importFrom(path);
        } else {
            // The import is sent like every change.
            const bool isShared = !ports.values.text("tolvik.auth.email").empty();
            Q_EMIT model->confirmWanted(path,
                                        QStringLiteral("It takes the place of %1. These are kept aside.%2")
                                            .arg(contentsOf(ports.store, ports.dictionary),
                                                 isShared ? QStringLiteral(" Your other devices follow.") : QString()));
        }
    });
}

void DataModel::importFrom(const QString& path) {
    if (busy_) {
        return;
    }
    begin();
    ports_.workers.run([model = QPointer(this), &loop = ports_.loop, path] {
        QFile file(path);
        // A log of a million entries takes less. What is far larger would fill the memory before it is found out.
        constexpr qint64 largest = qint64{512} << 20;
        const bool opened = file.open(QIODevice::ReadOnly);
        const bool fits = file.size() <= largest;
        auto bytes = opened && fits ? file.read(largest).toStdString() : std::string();
        const bool isRead = opened && fits && file.error() == QFileDevice::NoError;
        const auto problem = fits ? file.errorString() : QStringLiteral("it is larger than 512 MB");
        loop.post([model, path, isRead, problem, bytes = std::move(bytes)] {
            if (!model) {
                return;
            }
            if (isRead) {
                model->take(bytes);
            } else {
                model->end(QStringLiteral("%1 cannot be read: %2").arg(path, problem));
            }
        });
    });
}

void DataModel::take(const std::string& bytes) {
    const auto imported = importEverything(ports_.store, ports_.dictionary, ports_.values, ports_.clock, bytes);
    end(imported ? QString() : QStringLiteral("Nothing was imported: ") + wording::fromUtf8(imported.error()));
    if (imported) {
        ports_.toast.say(QStringLiteral("Imported %1").arg(contentsOf(ports_.store, ports_.dictionary)));
        if (ports_.happened) {
            ports_.happened("data_import");
        }
    }
}

}  // namespace tolvik
