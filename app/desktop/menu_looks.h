#pragma once

#include "adapters/desktop/tray_item.h"

class QQmlEngine;

namespace tolvik {

/// The window's colours, as the menu wears them. `setUpUi` was called for the engine.
[[nodiscard]] TrayItem::Looks menuLooks(QQmlEngine& engine);

}  // namespace tolvik
