#pragma once

#include <QObject>
#include <QString>
#include <QtQml/qqmlregistration.h>
#include <functional>
#include <utility>

namespace tolvik {

/// A short answer to what was just done on a page, and the way to take it back. Main thread only.
class ToastModel : public QObject {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("Belongs to the window's model")
    /// Empty when there is nothing to say.
    Q_PROPERTY(QString text READ text NOTIFY changed)
    Q_PROPERTY(bool offersUndo READ offersUndo NOTIFY changed)
    /// How long it stands, in milliseconds.
    Q_PROPERTY(int lifeMs READ lifeMs NOTIFY changed)
public:
    using QObject::QObject;

    [[nodiscard]] QString text() const { return text_; }
    [[nodiscard]] bool offersUndo() const { return undo_ != nullptr; }
    [[nodiscard]] int lifeMs() const { return lifeMs_; }

    /// `undo` takes it back; what it refers to lives as long as the toast. May be empty.
    void say(const QString& text, std::function<void()> undo = {}) { say(text, kLifeMs, std::move(undo)); }
    void say(const QString& text, int lifeMs, std::function<void()> undo = {});
    Q_INVOKABLE void undo();
    Q_INVOKABLE void dismiss() { say({}); }

signals:
    void changed();

private:
    static constexpr int kLifeMs = 6000;

    QString text_;
    int lifeMs_ = kLifeMs;
    std::function<void()> undo_;
};

}  // namespace tolvik
