#include "adapters/desktop/x11_pill_desktop.h"

#include <QCoreApplication>
#include <QWindow>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <utility>
#include <xcb/shape.h>
#include <xcb/xfixes.h>

#include "adapters/desktop/x11_selection.h"

namespace tolvik {

namespace {

/// Rounded outwards to whole pixels of the display.
xcb_rectangle_t scaled(const QRect& area, qreal scale) {
    const auto coordinate = [](qreal value) {
        return static_cast<std::int16_t>(std::clamp(value, qreal{-32768}, qreal{32767}));
    };
    const qreal left = std::floor(area.x() * scale);
    const qreal top = std::floor(area.y() * scale);
    const qreal right = std::ceil((area.x() + area.width()) * scale);
    const qreal bottom = std::ceil((area.y() + area.height()) * scale);
    return {coordinate(left), coordinate(top), static_cast<std::uint16_t>(coordinate(right - left)),
            static_cast<std::uint16_t>(coordinate(bottom - top))};
}

}  // namespace

X11PillDesktop::X11PillDesktop() {
    connection_ = applicationsX11();
    if (connection_ == nullptr) {
        return;
    }
    compositorSelection_ = atomNamed(connection_, "_NET_WM_CM_S0");
    composited_ = isSelectionOwned(connection_, compositorSelection_);
    watchCompositor();
}

X11PillDesktop::~X11PillDesktop() {
    if (selectionEvent_ >= 0 && qApp != nullptr) {
        qApp->removeNativeEventFilter(this);
    }
}

void X11PillDesktop::watchCompositor() {
    const xcb_query_extension_reply_t* xfixes = xcb_get_extension_data(connection_, &xcb_xfixes_id);
    if (xfixes == nullptr || xfixes->present == 0) {
        return;
    }
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
    xcb_xfixes_select_selection_input(connection_, root, compositorSelection_,
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_WINDOW_DESTROY |
                                          XCB_XFIXES_SELECTION_EVENT_MASK_SELECTION_CLIENT_CLOSE);
    xcb_flush(connection_);
    selectionEvent_ = xfixes->first_event + XCB_XFIXES_SELECTION_NOTIFY;
    qApp->installNativeEventFilter(this);
}

bool X11PillDesktop::nativeEventFilter(const QByteArray& /*eventType*/, void* message, qintptr* /*result*/) {
    const auto* event = static_cast<const xcb_generic_event_t*>(message);
    if ((event->response_type & 0x7F) != selectionEvent_) {
        return false;
    }
    const auto* notice = static_cast<const xcb_xfixes_selection_notify_event_t*>(message);
    if (notice->selection == compositorSelection_) {
        const bool composited = notice->owner != XCB_WINDOW_NONE;
        if (composited != std::exchange(composited_, composited)) {
            changed_.emit();
        }
    }
    return false;
}

Subscription X11PillDesktop::onCompositorChanged(std::function<void()> callback) {
    return changed_.connect(std::move(callback));
}

void X11PillDesktop::prepare(QWindow& window) {
    if (connection_ == nullptr) {
        return;
    }
    const xcb_atom_t type = atomNamed(connection_, "_NET_WM_WINDOW_TYPE");
    const xcb_atom_t notification = atomNamed(connection_, "_NET_WM_WINDOW_TYPE_NOTIFICATION");
    xcb_change_property(connection_, XCB_PROP_MODE_REPLACE, static_cast<xcb_window_t>(window.winId()), type,
                        XCB_ATOM_ATOM, 32, 1, &notification);
    xcb_flush(connection_);
}

void X11PillDesktop::setClickable(QWindow& window, const QRect& area) {
    if (connection_ == nullptr) {
        window.setFlag(Qt::WindowTransparentForInput, area.isEmpty());
        return;
    }
    const xcb_rectangle_t rectangle = scaled(area, window.devicePixelRatio());
    xcb_shape_rectangles(connection_, XCB_SHAPE_SO_SET, XCB_SHAPE_SK_INPUT, XCB_CLIP_ORDERING_UNSORTED,
                         static_cast<xcb_window_t>(window.winId()), 0, 0, area.isEmpty() ? 0 : 1, &rectangle);
    xcb_flush(connection_);
}

void X11PillDesktop::raise(QWindow& window) {
    if (connection_ == nullptr) {
        window.raise();
        return;
    }
    const std::uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(connection_, static_cast<xcb_window_t>(window.winId()), XCB_CONFIG_WINDOW_STACK_MODE, &above);
    xcb_flush(connection_);
}

}  // namespace tolvik
