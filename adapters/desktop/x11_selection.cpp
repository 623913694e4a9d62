#include "adapters/desktop/x11_selection.h"

#include <QGuiApplication>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace tolvik {

namespace {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};
template <class T>
std::unique_ptr<T, Free> owned(T* reply) {
    return std::unique_ptr<T, Free>(reply);
}

}  // namespace

xcb_connection_t* applicationsX11() {
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    // Qt's platform without a screen has the interface, but no connection.
    return x11 == nullptr ? nullptr : x11->connection();
}

xcb_atom_t atomNamed(xcb_connection_t* connection, const char* name) {
    const auto reply = owned(xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name), nullptr));
    return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

bool isSelectionOwned(xcb_connection_t* connection, xcb_atom_t selection) {
    const auto reply =
        owned(xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, selection), nullptr));
    return reply && reply->owner != XCB_WINDOW_NONE;
}

}  // namespace tolvik
