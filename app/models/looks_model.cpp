#include "app/models/looks_model.h"

#include "app/models/wording.h"

namespace tolvik {

LooksModel::LooksModel(ValueStore& values, DesktopAppearance* desktop, QObject* parent)
    : QObject(parent),
      values_(values),
      desktop_(desktop),
      theme_(wording::fromUtf8(values.text(themeKey, "system"))),
      wantsContrast_(values.flag(contrastKey, false)),
      wantsStillness_(values.flag(stillnessKey, false)) {
    if (theme_ != QLatin1String("light") && theme_ != QLatin1String("dark")) {
        theme_ = QStringLiteral("system");
    }
    if (desktop_ != nullptr) {
        subscription_ = desktop_->onChanged([this] { Q_EMIT changed(); });
    }
}

bool LooksModel::dark() const {
    return theme_ == QLatin1String("dark") || (theme_ == QLatin1String("system") && asked().dark);
}

void LooksModel::setTheme(const QString& theme) {
    if (theme != theme_) {
        theme_ = theme;
        // A choice that cannot be saved still holds for this run; the log's banner tells of the disk.
        (void)values_.setText(themeKey, theme.toStdString());
        Q_EMIT changed();
    }
}

void LooksModel::setWantsContrast(bool wanted) {
    if (wanted != wantsContrast_) {
        wantsContrast_ = wanted;
        (void)values_.setFlag(contrastKey, wanted);
        Q_EMIT changed();
    }
}

void LooksModel::setWantsStillness(bool wanted) {
    if (wanted != wantsStillness_) {
        wantsStillness_ = wanted;
        (void)values_.setFlag(stillnessKey, wanted);
        Q_EMIT changed();
    }
}

}  // namespace tolvik
