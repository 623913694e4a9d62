#include "app/models/window_model.h"

#include <utility>

namespace tolvik {

WindowModel::WindowModel(HomePorts home, SettingsPorts settings, DesktopAppearance* desktop, QObject* parent)
    : QObject(parent), voice_(settings.voice), home_(home), settings_(settings), looks_(settings.values, desktop) {
    AppStore& store = home.store;
    const auto colorOf = [&store](const Identifier& id) {
        const TaskModel* task = store.taskById(id);
        return task != nullptr ? static_cast<int>(task->colorIndex) : -1;
    };
    if (voice_ != nullptr) {
        pill_.follow(*voice_, colorOf, [this] { return home_.running() ? home_.runningTitle() : QString(); });
    } else {
        pill_.setColorOf(colorOf);
    }
}

void WindowModel::toggleVoice() {
    if (voice_ != nullptr) {
        voice_->toggle();
    }
}

}  // namespace tolvik
