#include "app/models/toast_model.h"

namespace tolvik {

void ToastModel::say(const QString& text, int lifeMs, std::function<void()> undo) {
    text_ = text;
    lifeMs_ = lifeMs;
    undo_ = std::move(undo);
    Q_EMIT changed();
}

void ToastModel::undo() {
    if (const auto action = std::exchange(undo_, {})) {
        text_.clear();
        action();
        Q_EMIT changed();
    }
}

}  // namespace tolvik
