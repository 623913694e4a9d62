#include "app/models/ribbon_labels.h"

#include <QSet>
#include <optional>

namespace tolvik {
namespace {

constexpr double kLeastRoom = 34;
constexpr double kGap = 6;
constexpr int kMostLines = 2;

std::optional<QStringList> wrapped(const QString& title, double room,
                                   const std::function<double(const QString&)>& measure) {
    QStringList lines;
    for (const QString& word : title.split(QLatin1Char(' '), Qt::SkipEmptyParts)) {
        if (measure(word) > room) {
            return std::nullopt;
        }
        const QString longer = lines.isEmpty() ? word : lines.last() + QLatin1Char(' ') + word;
        if (!lines.isEmpty() && measure(longer) <= room) {
            lines.last() = longer;
        } else if (lines.size() == kMostLines) {
            return std::nullopt;
        } else {
            lines << word;
        }
    }
    return lines;
}

}  // namespace

std::vector<RibbonLabel> ribbonLabels(const std::vector<RibbonStretch>& stretches, double width,
                                      const std::function<double(const QString&)>& measure) {
    std::vector<RibbonLabel> labels(stretches.size());
    QSet<QString> named;
    for (std::size_t i = 0; i < stretches.size(); ++i) {
        const double end = i + 1 < stretches.size() ? stretches[i + 1].x : width;
        const double room = end - stretches[i].x;
        if (room < kLeastRoom) {
            continue;
        }
        labels[i].showsLength = true;
        if (named.contains(stretches[i].taskId)) {
            continue;
        }
        if (auto lines = wrapped(stretches[i].title, room - kGap, measure)) {
            labels[i].titleLines = *std::move(lines);
            named.insert(stretches[i].taskId);
        }
    }
    return labels;
}

}  // namespace tolvik
