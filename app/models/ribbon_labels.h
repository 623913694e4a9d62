#pragma once

#include <QString>
#include <QStringList>
#include <functional>
#include <vector>

namespace tolvik {

/// One stretch of the ribbon, as far as its label goes. Positions in pixels from the ribbon's left.
struct RibbonStretch {
    double x = 0;
    QString taskId;
    QString title;
};

/// What stands under a stretch.
struct RibbonLabel {
    bool showsLength = false;
    /// At most two lines; empty when the title does not fit or stood before.
    QStringList titleLines;

    bool operator==(const RibbonLabel&) const = default;
};

/// Labels for stretches in order of time. A stretch with at least 34 px to the next one shows its length, and its
/// title the first time that the title fits there. `measure` gives a text's width in pixels.
[[nodiscard]] std::vector<RibbonLabel> ribbonLabels(const std::vector<RibbonStretch>& stretches, double width,
                                                    const std::function<double(const QString&)>& measure);

}  // namespace tolvik
