#pragma once

#include <array>
#include <bitset>
#include <cstdint>

struct xcb_connection_t;

namespace tolvik {

/// Which keys of the present keyboard layout stand for which modifier. Value type.
struct ModifierKeys {
    /// For each key code, the bits of `modifier` that it stands for; left and right keys alike.
    std::array<std::uint32_t, 256> bitsOfKey{};
    /// For each of the server's eight modifiers (Shift, Lock, Control, Mod1 to Mod5), the bits of `modifier`.
    std::array<std::uint32_t, 8> bitsOfModifier{};
    /// Every key that only modifies others, those beyond the four included.
    std::bitset<256> isModifier;

    /// Asks the server; empty when it does not answer. Any thread.
    [[nodiscard]] static ModifierKeys read(xcb_connection_t* connection);

    /// The four bits for a mask of the server's modifiers.
    [[nodiscard]] std::uint32_t bitsFor(std::uint32_t serverMask) const;
    /// The four bits for a map of the keys that are down, one bit a key code.
    [[nodiscard]] std::uint32_t bitsFor(const std::uint8_t (&keymap)[32]) const;
};

}  // namespace tolvik
