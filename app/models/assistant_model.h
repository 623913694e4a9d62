#pragma once

#include <QObject>
#include <QtQml/qqmlregistration.h>

#include "ai/assistant.h"
#include "app/models/keyed_list_model.h"

namespace tolvik {

/// A task that an answer relies on.
struct CitationRow {
    QString id;
    QString title;
    int colorIndex = -1;
    QString lengthText;
    /// There are days to show for it.
    bool known = false;
    QString spoken{};

    [[nodiscard]] const QString& key() const { return id; }
    static std::span<const RowRole<CitationRow>> roles();
    bool operator==(const CitationRow&) const = default;
};

/// What an answer relies on, the most time first.
class CitationModel : public KeyedListModel<CitationRow> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the question bar's model")
public:
    using KeyedListModel::KeyedListModel;
    void update(std::vector<CitationRow> rows) { assign(std::move(rows)); }
};

/// The question bar: one question at a time about the log, and its answer. Main thread only.
class AssistantModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the window's model")
    /// A question is being answered.
    Q_PROPERTY(bool busy READ busy NOTIFY changed)
    /// The answer, or why there is none; empty before the first question. It stays while the next is answered.
    Q_PROPERTY(QString answer READ answer NOTIFY changed)
    /// The answer is none: the assistant could not be asked, or the question was not understood.
    Q_PROPERTY(bool failed READ failed NOTIFY changed)
    Q_PROPERTY(tolvik::CitationModel* citations READ citations CONSTANT)
public:
    /// All outlive the model.
    AssistantModel(Assistant& assistant, AppStore& store, const TimeZone& zone, QObject* parent = nullptr);

    [[nodiscard]] bool busy() const { return assistant_.isAsking(); }
    [[nodiscard]] QString answer() const { return answer_; }
    [[nodiscard]] bool failed() const { return failed_; }
    [[nodiscard]] CitationModel* citations() { return &citations_; }

    /// False, and nothing is asked, for a question without words and while one is being answered.
    Q_INVOKABLE bool ask(const QString& question);
    /// Takes the answer away.
    Q_INVOKABLE void dismiss();
    /// Shows the last day on which the task of a citation ran on the home page; nothing for a task that is gone.
    Q_INVOKABLE void showCitation(int row);

signals:
    void changed();
    /// The home page shows what was asked for.
    void homeWanted();

private:
    void show(const AssistantReply& reply);

    Assistant& assistant_;
    AppStore& store_;
    const TimeZone& zone_;
    QString answer_;
    bool failed_ = false;
    CitationModel citations_;
};

}  // namespace tolvik
