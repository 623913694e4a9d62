#pragma once

class QWindow;

namespace tolvik {

/// Shows that a window is wanted before all others with the focus, as a person's choice in a panel would. On platforms
/// other than X11 the desktop is asked in Qt's way.
void bringToFront(QWindow& window);

}  // namespace tolvik
