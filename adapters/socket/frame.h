#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tolvik {

/// A message on the wire: four bytes of length, little end first, then that many bytes. The length 0xFFFFFFFF stands
/// alone and means "not done, ask another": the server is going and has not begun the request.
constexpr std::size_t kFrameHeadSize = 4;
constexpr std::uint32_t kNotDoneLength = 0xFFFF'FFFFU;

[[nodiscard]] std::string frameHead(std::uint32_t length);

/// Puts one message together from the pieces that arrive. Never holds more than the limit and one read.
class FrameReader {
public:
    explicit FrameReader(std::size_t mostBytes) : mostBytes_(mostBytes) {}

    enum class State : std::uint8_t { reading, complete, notDone, tooLarge };

    /// Takes in bytes of the peer. What follows a complete message is ignored.
    State take(std::string_view bytes);
    [[nodiscard]] State state() const { return state_; }
    /// The message, once complete.
    [[nodiscard]] std::string& message() { return message_; }

private:
    std::size_t mostBytes_;
    State state_ = State::reading;
    std::string head_;
    std::size_t length_ = 0;
    std::string message_;
};

}  // namespace tolvik
