#pragma once

#include <xcb/xcb.h>

namespace tolvik {

/// The application's own connection to the X server; null in a session without one. The application's, valid while it
/// is.
[[nodiscard]] xcb_connection_t* applicationsX11();

/// The display's number for a name, or XCB_ATOM_NONE. Waits for the display's answer.
[[nodiscard]] xcb_atom_t atomNamed(xcb_connection_t* connection, const char* name);

/// Whether some client owns the selection, which is how trays and compositors announce themselves. Waits for the
/// display's answer.
[[nodiscard]] bool isSelectionOwned(xcb_connection_t* connection, xcb_atom_t selection);

}  // namespace tolvik
