#include "adapters/x11/modifier_keys.h"

#include <cstdlib>
#include <memory>
#include <span>
#include <xcb/xcb.h>

#include "voice/capture/chord_monitor.h"

namespace tolvik {

namespace {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};
template <class T>
using Reply = std::unique_ptr<T, Free>;

// Key symbols as X11/keysymdef.h lists them.
constexpr xcb_keysym_t shiftLeft = 0xFFE1;
constexpr xcb_keysym_t shiftRight = 0xFFE2;
constexpr xcb_keysym_t controlLeft = 0xFFE3;
constexpr xcb_keysym_t controlRight = 0xFFE4;
constexpr xcb_keysym_t altLeft = 0xFFE9;
constexpr xcb_keysym_t altRight = 0xFFEA;
constexpr xcb_keysym_t superLeft = 0xFFEB;
constexpr xcb_keysym_t superRight = 0xFFEC;
constexpr xcb_keysym_t hyperRight = 0xFFEE;
constexpr xcb_keysym_t numLock = 0xFF7F;
constexpr xcb_keysym_t firstIsoModifier = 0xFE01;  // ISO_Lock
constexpr xcb_keysym_t lastIsoModifier = 0xFE13;   // ISO_Level5_Lock

std::uint32_t bitOf(xcb_keysym_t symbol) {
    switch (symbol) {
        case shiftLeft:
        case shiftRight:
            return modifier::shift;
        case controlLeft:
        case controlRight:
            return modifier::control;
        case altLeft:
        case altRight:
            return modifier::option;
        case superLeft:
        case superRight:
            return modifier::command;
        default:
            return 0;
    }
}

bool modifies(xcb_keysym_t symbol) {
    return (symbol >= shiftLeft && symbol <= hyperRight) || symbol == numLock ||
           (symbol >= firstIsoModifier && symbol <= lastIsoModifier);
}

}  // namespace

ModifierKeys ModifierKeys::read(xcb_connection_t* connection) {
    ModifierKeys out;
    const xcb_setup_t* setup = xcb_get_setup(connection);
    if (setup == nullptr) {
        return out;
    }
    const xcb_keycode_t first = setup->min_keycode;
    const auto count = static_cast<std::uint8_t>(setup->max_keycode - first + 1);
    const auto symbolsCookie = xcb_get_keyboard_mapping(connection, first, count);
    const auto modifiersCookie = xcb_get_modifier_mapping(connection);
    const Reply<xcb_get_keyboard_mapping_reply_t> symbols(
        xcb_get_keyboard_mapping_reply(connection, symbolsCookie, nullptr));
    const Reply<xcb_get_modifier_mapping_reply_t> modifiers(
        xcb_get_modifier_mapping_reply(connection, modifiersCookie, nullptr));
    if (!symbols || !modifiers) {
        return out;
    }

    const std::size_t width = symbols->keysyms_per_keycode;
    const std::span all(xcb_get_keyboard_mapping_keysyms(symbols.get()),
                        static_cast<std::size_t>(xcb_get_keyboard_mapping_keysyms_length(symbols.get())));
    for (std::size_t i = 0; width > 0 && i + width <= all.size(); i += width) {
        const std::size_t key = first + i / width;
        // The symbol without further modifiers says what a key is: Alt is Meta while Shift is down.
        out.isModifier[key] = modifies(all[i]);
        out.bitsOfKey[key] = bitOf(all[i]);
    }

    const std::span rows(xcb_get_modifier_mapping_keycodes(modifiers.get()),
                         static_cast<std::size_t>(xcb_get_modifier_mapping_keycodes_length(modifiers.get())));
    const std::size_t keysOfModifier = modifiers->keycodes_per_modifier;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (rows[i] != 0) {
            out.isModifier[rows[i]] = true;
            out.bitsOfModifier.at(i / keysOfModifier) |= out.bitsOfKey[rows[i]];
        }
    }
    // These two are the server's own, whatever keys they are on.
    out.bitsOfModifier[XCB_MAP_INDEX_SHIFT] |= modifier::shift;
    out.bitsOfModifier[XCB_MAP_INDEX_CONTROL] |= modifier::control;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (rows[i] != 0) {
            out.bitsOfKey[rows[i]] |= out.bitsOfModifier.at(i / keysOfModifier);
        }
    }
    return out;
}

std::uint32_t ModifierKeys::bitsFor(std::uint32_t serverMask) const {
    std::uint32_t out = 0;
    for (std::size_t i = 0; i < bitsOfModifier.size(); ++i) {
        if ((serverMask >> i & 1U) != 0) {
            out |= bitsOfModifier[i];
        }
    }
    return out;
}

std::uint32_t ModifierKeys::bitsFor(const std::uint8_t (&keymap)[32]) const {
    std::uint32_t out = 0;
    for (std::size_t key = 0; key < bitsOfKey.size(); ++key) {
        if ((keymap[key / 8] >> (key % 8) & 1U) != 0) {
            out |= bitsOfKey[key];
        }
    }
    return out;
}

}  // namespace tolvik
