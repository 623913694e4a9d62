#include "app/pill/pill_place.h"

#include <algorithm>

namespace tolvik {

QPoint pillPosition(const QRect& workArea, const QSize& pill) {
    const int x = workArea.x() + (workArea.width() - pill.width()) / 2;
    const int y = workArea.y() + workArea.height() - pillGap - pill.height();
    return {std::max(x, workArea.x()), std::max(y, workArea.y())};
}

}  // namespace tolvik
