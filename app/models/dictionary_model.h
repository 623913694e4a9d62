#pragma once

#include <QObject>
#include <QStringList>
#include <QtQml/qqmlregistration.h>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "app/models/dictionary_lists.h"
#include "app/models/toast_model.h"
#include "dictionary/dictionary_manager.h"

namespace tolvik {

/// The dictionary page: whose terms are shown, the terms, and the sheet that imports many at once. Main thread only.
class DictionaryModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the window's model")
    Q_PROPERTY(tolvik::DictTargetModel* targets READ targets CONSTANT)
    Q_PROPERTY(tolvik::DictTermModel* terms READ terms CONSTANT)
    /// The shown dictionary: empty for the personal one, else a project's id.
    Q_PROPERTY(QString targetId READ targetId WRITE setTargetId NOTIFY changed)
    Q_PROPERTY(QString targetName READ targetName NOTIFY changed)
    Q_PROPERTY(bool targetIsCurrent READ targetIsCurrent NOTIFY changed)
    Q_PROPERTY(QString search READ search WRITE setSearch NOTIFY changed)
    /// "9 terms", or of a search "2 of 9 terms".
    Q_PROPERTY(QString countText READ countText NOTIFY changed)
    /// Why changes are not on the disk yet; empty when all is well.
    Q_PROPERTY(QString problemText READ problemText NOTIFY changed)

    Q_PROPERTY(QStringList importHelp READ importHelp CONSTANT)
    Q_PROPERTY(QString importTargetId READ importTargetId WRITE setImportTargetId NOTIFY importChanged)
    Q_PROPERTY(QString importTargetName READ importTargetName NOTIFY importChanged)
    Q_PROPERTY(QString importText READ importText WRITE setImportText NOTIFY importChanged)
    /// The text is too long to be edited: `importShown` is its beginning, and it is added to or cleared as a whole.
    Q_PROPERTY(bool importIsLong READ importIsLong NOTIFY importChanged)
    Q_PROPERTY(QString importShown READ importShown NOTIFY importChanged)
    /// How many entries an import would add.
    Q_PROPERTY(int importCount READ importCount NOTIFY importChanged)
    /// "4 entries found", "4 entries found, 1 already there: Turku".
    Q_PROPERTY(QString importCountText READ importCountText NOTIFY importChanged)
    /// What is wrong with the pasted JSON, and that it would be taken as lines; empty when nothing is.
    Q_PROPERTY(QString importProblem READ importProblem NOTIFY importChanged)
public:
    /// What reads long texts away from the main thread.
    struct Background {
        Workers& workers;
        MainLoop& loop;
    };
    /// All outlive the model. Without a background everything is done at once.
    DictionaryModel(DictionaryManager& dictionary, AppStore& store, ToastModel& toast,
                    std::optional<Background> background = {}, QObject* parent = nullptr);

    [[nodiscard]] DictTargetModel* targets() { return &targets_; }
    [[nodiscard]] DictTermModel* terms() { return &terms_; }
    [[nodiscard]] QString targetId() const;
    void setTargetId(const QString& id);
    [[nodiscard]] QString targetName() const { return nameOf(target_); }
    [[nodiscard]] bool targetIsCurrent() const;
    [[nodiscard]] QString search() const { return search_; }
    void setSearch(const QString& search);
    [[nodiscard]] QString countText() const;
    [[nodiscard]] QString problemText() const;

    [[nodiscard]] QStringList importHelp() const;
    [[nodiscard]] QString importTargetId() const;
    void setImportTargetId(const QString& id);
    [[nodiscard]] QString importTargetName() const { return nameOf(importTarget_); }
    [[nodiscard]] QString importText() const { return importText_; }
    void setImportText(const QString& text);
    [[nodiscard]] bool importIsLong() const;
    [[nodiscard]] QString importShown() const { return importIsLong() ? importShown_ : importText_; }
    [[nodiscard]] int importCount() const { return importCount_; }
    [[nodiscard]] QString importCountText() const { return importCountText_; }
    [[nodiscard]] QString importProblem() const { return importProblem_; }

    /// Makes the shown project the current one, or none; nothing for the personal dictionary.
    Q_INVOKABLE void setCurrent(bool current);
    /// Why that term cannot be added to the shown dictionary ("Turku (city) is already here."); empty when it can.
    /// `exceptId` is an entry that is being edited.
    Q_INVOKABLE [[nodiscard]] QString collision(const QString& term, const QString& exceptId = {}) const;
    /// False when nothing was added: the term is empty or there already.
    Q_INVOKABLE bool add(const QString& term, const QString& hint);
    /// False when the term is empty or another entry has it.
    Q_INVOKABLE bool edit(const QString& id, const QString& term, const QString& hint);
    Q_INVOKABLE void remove(const QString& id);
    /// The colour of a project; -1 for anything else.
    Q_INVOKABLE [[nodiscard]] int colorOf(const QString& projectId) const;
    /// Starts the sheet anew for the shown dictionary.
    Q_INVOKABLE void beginImport();
    /// Takes what is in the clipboard when the text would be long with it, between what stands before and after the
    /// selection; behind a text that is long already. False when it is for the field to take.
    Q_INVOKABLE bool pasteLong(const QString& before, const QString& after);
    /// Adds what the text holds; the toast says how many entries that were.
    Q_INVOKABLE void import();

signals:
    void changed();
    void importChanged();

private:
    void update();
    void countImport();
    struct ImportCount;
    [[nodiscard]] static ImportCount countOf(const QString& text, std::span<const DictEntry> entries,
                                             const std::optional<Identifier>& tagId);
    void show(const ImportCount& count);
    void imported(std::vector<Identifier> ids);
    [[nodiscard]] QString nameOf(const std::optional<Identifier>& tagId) const;
    [[nodiscard]] static std::optional<Identifier> toTarget(const QString& id);

    DictionaryManager& dictionary_;
    AppStore& store_;
    ToastModel& toast_;
    std::optional<Background> background_;
    DictTargetModel targets_;
    DictTermModel terms_;
    std::optional<Identifier> target_;
    QString search_;
    std::optional<Identifier> importTarget_;
    QString importText_;
    QString importShown_;
    /// Told apart from counts of what has changed since.
    std::uint64_t countNumber_ = 0;
    int importCount_ = 0;
    QString importCountText_;
    QString importProblem_;
    Subscription dictionarySubscription_;
    Subscription storeSubscription_;
};

}  // namespace tolvik
