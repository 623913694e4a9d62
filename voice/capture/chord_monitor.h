#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace tolvik {

/// The four modifiers of a chord, by the bits that are stored.
namespace modifier {
inline constexpr std::uint32_t shift = 0x20000;
inline constexpr std::uint32_t control = 0x40000;
inline constexpr std::uint32_t option = 0x80000;    ///< Alt on this keyboard
inline constexpr std::uint32_t command = 0x100000;  ///< Super on this keyboard
inline constexpr std::uint32_t mask = 0x1E0000;
}  // namespace modifier

/// Sees modifier keys anywhere on the desktop, whichever window has the focus. Callbacks come on the main loop.
class ChordMonitor {
public:
    ChordMonitor() = default;
    ChordMonitor(const ChordMonitor&) = delete;
    ChordMonitor& operator=(const ChordMonitor&) = delete;
    virtual ~ChordMonitor() = default;

    struct Callbacks {
        /// The modifiers that are down now (bits of `modifier`), at each change.
        std::function<void(std::uint32_t held)> onModifiers;
        /// A key that is no modifier went down while at least one of the four was held.
        std::function<void()> onOtherKey;
    };
    /// Starts watching. False when this session cannot be watched; `problem()` says why.
    [[nodiscard]] virtual bool start(Callbacks callbacks) = 0;
    virtual void stop() = 0;
    /// What is missing, plainly, for settings and the log; empty when all is well.
    [[nodiscard]] virtual std::string problem() const = 0;
    /// The modifiers that are physically down at this moment, asked of the display, not remembered.
    [[nodiscard]] virtual std::uint32_t heldNow() const = 0;
};

}  // namespace tolvik
