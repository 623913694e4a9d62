#include "adapters/socket/frame.h"

#include <algorithm>

namespace tolvik {

std::string frameHead(std::uint32_t length) {
    std::string head(kFrameHeadSize, '\0');
    for (std::size_t i = 0; i < kFrameHeadSize; ++i) {
        head[i] = static_cast<char>((length >> (8U * i)) & 0xFFU);
    }
    return head;
}

FrameReader::State FrameReader::take(std::string_view bytes) {
    if (state_ != State::reading) {
        return state_;
    }
    if (head_.size() < kFrameHeadSize) {
        const auto part = bytes.substr(0, kFrameHeadSize - head_.size());
        head_ += part;
        bytes.remove_prefix(part.size());
        if (head_.size() < kFrameHeadSize) {
            return state_;
        }
        std::uint32_t length = 0;
        for (std::size_t i = 0; i < kFrameHeadSize; ++i) {
            length |= static_cast<std::uint32_t>(static_cast<unsigned char>(head_[i])) << (8U * i);
        }
        if (length == kNotDoneLength) {
            return state_ = State::notDone;
        }
        if (length > mostBytes_) {
            return state_ = State::tooLarge;
        }
        length_ = length;
    }
    // Memory grows with what has arrived and not with what was announced.
    message_ += bytes.substr(0, length_ - message_.size());
    if (message_.size() == length_) {
        state_ = State::complete;
    }
    return state_;
}

}  // namespace tolvik
