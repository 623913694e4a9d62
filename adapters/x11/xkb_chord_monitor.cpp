#include "adapters/x11/xkb_chord_monitor.h"

#include <poll.h>
#include <spdlog/spdlog.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <xcb/xcb.h>
#include <xcb/xinput.h>
// A field of this C header bears the name of a C++ keyword.
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

#include <cstdlib>
#include <mutex>
#include <thread>
#include <utility>

#include "adapters/x11/modifier_keys.h"

namespace tolvik {

namespace {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};
template <class T>
using Reply = std::unique_ptr<T, Free>;

std::string environment(const char* name) {
    const char* value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe): nothing here sets variables
    return value == nullptr ? std::string() : std::string(value);
}

/// Why the session cannot be watched whatever the server says; empty when it may.
std::string sessionProblem(const std::string& display) {
    if (environment("XDG_SESSION_TYPE") == "wayland" || !environment("WAYLAND_DISPLAY").empty()) {
        return "This is a Wayland session, where programs do not see keys that are pressed elsewhere. The "
               "microphone button works; for the chord, sign in to an X11 session.";
    }
    if (display.empty()) {
        return "There is no X11 display, so the chord cannot be seen.";
    }
    return {};
}

}  // namespace

/// The connection and the thread that waits on it. The thread keeps it alive.
struct XkbChordMonitor::Watch {
    explicit Watch(MainLoop& mainLoop) : loop(mainLoop) {}
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch() {
        for (xcb_connection_t* open : {connection, asking}) {
            if (open != nullptr) {
                xcb_disconnect(open);
            }
        }
        if (wake >= 0) {
            ::close(wake);
        }
    }

    /// Connects and selects the events; what is missing, or nothing.
    std::string connect(const std::string& display);
    void run(const std::weak_ptr<Callbacks>& receiver);
    void handle(const xcb_generic_event_t& event, const std::weak_ptr<Callbacks>& receiver);
    void watchOtherKeys(bool wanted);
    void report(const std::weak_ptr<Callbacks>& receiver, std::uint32_t held) {
        loop.post([receiver, held] {
            if (const auto to = receiver.lock(); to && to->onModifiers) {
                to->onModifiers(held);
            }
        });
    }

    MainLoop& loop;
    xcb_connection_t* connection = nullptr;
    // The main loop's own: a reply that it read on the other one would take events along, unseen by the thread.
    xcb_connection_t* asking = nullptr;
    xcb_window_t root = 0;
    std::uint8_t keyboardEvent = 0;
    std::uint8_t inputOpcode = 0;
    int wake = -1;
    std::thread thread;
    bool watchesOtherKeys = false;
    // Held by the main loop alone; gone once the watch was stopped.
    std::shared_ptr<Callbacks> callbacks;

    mutable std::mutex mutex;
    ModifierKeys keys;
    std::string lost;
};

std::string XkbChordMonitor::Watch::connect(const std::string& display) {
    int screenNumber = 0;
    connection = xcb_connect(display.c_str(), &screenNumber);
    asking = xcb_connect(display.c_str(), nullptr);
    if (xcb_connection_has_error(connection) != 0 || xcb_connection_has_error(asking) != 0) {
        return "The X server " + display + " cannot be reached, so the chord cannot be seen.";
    }
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (; screenNumber > 0 && screens.rem > 1; --screenNumber) {
        xcb_screen_next(&screens);
    }
    root = screens.data->root;

    const xcb_query_extension_reply_t* keyboard = xcb_get_extension_data(connection, &xcb_xkb_id);
    if (keyboard == nullptr || keyboard->present == 0) {
        return "The X server lacks the keyboard extension, so the chord cannot be seen.";
    }
    keyboardEvent = keyboard->first_event;
    const Reply<xcb_xkb_use_extension_reply_t> used(xcb_xkb_use_extension_reply(
        connection, xcb_xkb_use_extension(connection, XCB_XKB_MAJOR_VERSION, XCB_XKB_MINOR_VERSION), nullptr));
    if (!used || used->supported == 0) {
        return "The X server's keyboard extension is of another version, so the chord cannot be seen.";
    }
    keys = ModifierKeys::read(connection);

    constexpr std::uint16_t events =
        XCB_XKB_EVENT_TYPE_STATE_NOTIFY | XCB_XKB_EVENT_TYPE_MAP_NOTIFY | XCB_XKB_EVENT_TYPE_NEW_KEYBOARD_NOTIFY;
    constexpr std::uint16_t maps = XCB_XKB_MAP_PART_KEY_SYMS | XCB_XKB_MAP_PART_MODIFIER_MAP;
    xcb_xkb_select_events_details_t details{};
    details.affectState = XCB_XKB_STATE_PART_MODIFIER_BASE;
    details.stateDetails = XCB_XKB_STATE_PART_MODIFIER_BASE;
    details.affectNewKeyboard = XCB_XKB_NKN_DETAIL_KEYCODES;
    details.newKeyboardDetails = XCB_XKB_NKN_DETAIL_KEYCODES;
    xcb_xkb_select_events_aux(connection, XCB_XKB_ID_USE_CORE_KBD, events, 0, 0, maps, maps, &details);

    // Without raw events everything works but the recognition of shortcuts.
    const xcb_query_extension_reply_t* input = xcb_get_extension_data(connection, &xcb_input_id);
    if (input != nullptr && input->present != 0) {
        const Reply<xcb_input_xi_query_version_reply_t> version(
            xcb_input_xi_query_version_reply(connection, xcb_input_xi_query_version(connection, 2, 2), nullptr));
        inputOpcode = version ? input->major_opcode : std::uint8_t{0};
    }
    if (inputOpcode == 0) {
        spdlog::warn("The X server has no input extension 2: a shortcut that contains the chord is taken for speech.");
    }
    xcb_flush(connection);
    wake = ::eventfd(0, EFD_CLOEXEC);
    return wake < 0 ? "The system has no file handles left." : "";
}

void XkbChordMonitor::Watch::watchOtherKeys(bool wanted) {
    if (inputOpcode == 0 || wanted == watchesOtherKeys) {
        return;
    }
    watchesOtherKeys = wanted;
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } selection{};
    selection.head.deviceid = XCB_INPUT_DEVICE_ALL_MASTER;
    selection.head.mask_len = 1;
    selection.mask = wanted ? static_cast<std::uint32_t>(XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS) : 0U;
    xcb_input_xi_select_events(connection, root, 1, &selection.head);
    xcb_flush(connection);
}

void XkbChordMonitor::Watch::handle(const xcb_generic_event_t& event, const std::weak_ptr<Callbacks>& receiver) {
    const auto type = static_cast<std::uint8_t>(event.response_type & 0x7FU);
    if (type == keyboardEvent) {
        // All events of the extension share a number; the second byte tells them apart.
        if (event.pad0 == XCB_XKB_STATE_NOTIFY) {
            const auto& state = reinterpret_cast<const xcb_xkb_state_notify_event_t&>(event);
            const std::uint32_t held = keys.bitsFor(state.baseMods);
            watchOtherKeys(held != 0);
            report(receiver, held);
        } else {
            const ModifierKeys fresh = ModifierKeys::read(connection);
            const std::scoped_lock lock(mutex);
            keys = fresh;
        }
        return;
    }
    if (type == XCB_GE_GENERIC) {
        const auto& generic = reinterpret_cast<const xcb_ge_generic_event_t&>(event);
        if (generic.extension == inputOpcode && generic.event_type == XCB_INPUT_RAW_KEY_PRESS) {
            const auto& key = reinterpret_cast<const xcb_input_raw_key_press_event_t&>(event);
            if (key.detail < keys.isModifier.size() && !keys.isModifier[key.detail]) {
                loop.post([receiver] {
                    if (const auto to = receiver.lock(); to && to->onOtherKey) {
                        to->onOtherKey();
                    }
                });
            }
        }
    }
}

void XkbChordMonitor::Watch::run(const std::weak_ptr<Callbacks>& receiver) {
    pollfd ready[2] = {{xcb_get_file_descriptor(connection), POLLIN, 0}, {wake, POLLIN, 0}};
    for (;;) {
        while (const Reply<xcb_generic_event_t> event{xcb_poll_for_event(connection)}) {
            handle(*event, receiver);
        }
        if (xcb_connection_has_error(connection) != 0) {
            {
                const std::scoped_lock lock(mutex);
                lost = "The X server went away, so the chord cannot be seen.";
            }
            report(receiver, 0);
            return;
        }
        if (::poll(ready, 2, -1) > 0 && ready[1].revents != 0) {
            return;
        }
    }
}

XkbChordMonitor::XkbChordMonitor(MainLoop& loop, std::string display) : loop_(loop), display_(std::move(display)) {}

XkbChordMonitor::~XkbChordMonitor() {
    XkbChordMonitor::stop();
}

bool XkbChordMonitor::start(Callbacks callbacks) {
    stop();
    const std::string display = display_.empty() ? environment("DISPLAY") : display_;
    startProblem_ = sessionProblem(display);
    auto watch = std::make_shared<Watch>(loop_);
    if (startProblem_.empty()) {
        startProblem_ = watch->connect(display);
    }
    if (!startProblem_.empty()) {
        spdlog::warn("{}", startProblem_);
        return false;
    }
    watch->callbacks = std::make_shared<Callbacks>(std::move(callbacks));
    watch->thread =
        std::thread([raw = watch.get(), receiver = std::weak_ptr(watch->callbacks)] { raw->run(receiver); });
    watch_ = std::move(watch);
    return true;
}

void XkbChordMonitor::stop() {
    if (!watch_) {
        return;
    }
    watch_->callbacks.reset();
    const std::uint64_t one = 1;
    if (::write(watch_->wake, &one, sizeof one) != sizeof one) {
        spdlog::error("The keyboard's thread cannot be woken.");
    }
    watch_->thread.join();
    watch_.reset();
}

std::string XkbChordMonitor::problem() const {
    if (!watch_) {
        return startProblem_;
    }
    const std::scoped_lock lock(watch_->mutex);
    return watch_->lost;
}

std::uint32_t XkbChordMonitor::heldNow() const {
    if (!watch_) {
        return 0;
    }
    const Reply<xcb_query_keymap_reply_t> down(
        xcb_query_keymap_reply(watch_->asking, xcb_query_keymap(watch_->asking), nullptr));
    if (!down) {
        return 0;
    }
    const std::scoped_lock lock(watch_->mutex);
    return watch_->keys.bitsFor(down->keys);
}

}  // namespace tolvik
