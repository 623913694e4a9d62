#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

namespace tolvik {

/// Pixels between the pill and the lower edge of the work area.
inline constexpr int pillGap = 32;

/// Where the pill's upper left corner belongs: centred, `pillGap` above the lower edge of `workArea`, and within it.
[[nodiscard]] QPoint pillPosition(const QRect& workArea, const QSize& pill);

}  // namespace tolvik
