#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tolvik {

/// Cuts the bytes of a change stream into its events, whose ends are blank lines made of line feeds.
class SseEvents {
public:
    /// An event is a few bytes. A server that sends this much without ending one is not followed.
    static constexpr std::size_t kLongest = std::size_t{1} << 20U;

    enum class Event : std::uint8_t {
        greeting,  ///< the comment with which the server begins
        change,    ///< something with data, whatever it says
    };

    /// The events that these bytes complete, in order; comments and events without data are none. Any bytes.
    [[nodiscard]] std::vector<Event> take(std::string_view bytes);
    /// True when more than `kLongest` bytes belong to no complete event.
    [[nodiscard]] bool isTooLong() const { return rest_.size() > kLongest; }
    /// Forgets what belongs to no complete event.
    void clear() { rest_.clear(); }

private:
    std::string rest_;
};

}  // namespace tolvik
