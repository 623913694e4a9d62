#include "adapters/desktop/x11_activation.h"

#include <QWindow>
#include <cstring>

#include "adapters/desktop/x11_selection.h"

namespace tolvik {

void bringToFront(QWindow& window) {
    xcb_connection_t* const connection = applicationsX11();
    if (connection == nullptr) {
        window.raise();
        window.requestActivate();
        return;
    }
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    xcb_client_message_event_t message;
    std::memset(&message, 0, sizeof message);
    message.response_type = XCB_CLIENT_MESSAGE;
    message.format = 32;
    message.window = static_cast<xcb_window_t>(window.winId());
    message.type = atomNamed(connection, "_NET_ACTIVE_WINDOW");
    // Source 2 is a pager, which window managers obey; an application's own wish they may only flash.
    message.data.data32[0] = 2;
    message.data.data32[1] = XCB_CURRENT_TIME;
    xcb_send_event(connection, 0, root, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                   reinterpret_cast<const char*>(&message));
    xcb_flush(connection);
}

}  // namespace tolvik
