#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "base/clock.h"
#include "voice/capture/speech_recognizer.h"

namespace tolvik {

/// All the sound of one recording, where the audio thread meets the others. The audio thread only appends, under a
/// lock that nobody holds for longer than a copy of one chunk; what was appended never moves, so readers read without
/// the lock. Some 12 MB a minute at 48 kHz mono.
class CaptureBuffer {
public:
    /// `clock` outlives the buffer.
    explicit CaptureBuffer(const Clock& clock);
    CaptureBuffer(const CaptureBuffer&) = delete;
    CaptureBuffer& operator=(const CaptureBuffer&) = delete;
    ~CaptureBuffer() = default;

    /// Adds sound and hands it to the attached session. Audio thread.
    void append(std::span<const float> samples);

    /// Hands everything so far to `session`, and what follows as it comes, without gap or overlap. The session stays
    /// alive until `detach()`. Main loop.
    void attach(SpeechSession& session);
    /// The attached session gets no more once this returns. Main loop.
    void detach();

    /// Calls `visit` with the samples from `position` on, in order, and returns the position behind them. Any thread.
    std::size_t read(std::size_t position, const std::function<void(std::span<const float>)>& visit) const;

    /// How many samples there are. Any thread.
    [[nodiscard]] std::size_t size() const;
    /// When the first samples came. Any thread.
    [[nodiscard]] std::optional<Instant> firstSamplesAt() const;
    /// The loudness since the last call as a fraction of the meter, 0 to 1 (-55 to -5 dB of full scale). Keeps memory
    /// ready for the audio thread as well: call it some twenty times a second. Main loop.
    [[nodiscard]] float takeLevel();

private:
    static constexpr std::size_t chunkSize = 1U << 16U;
    using Chunk = std::unique_ptr<float[]>;
    struct Piece {
        const float* data;
        std::size_t count;
    };
    [[nodiscard]] std::vector<Piece> piecesFrom(std::size_t position) const;

    const Clock& clock_;
    mutable std::mutex mutex_;
    std::vector<Chunk> chunks_;
    Chunk spare_;
    std::size_t size_ = 0;
    std::optional<Instant> firstSamplesAt_;
    SpeechSession* session_ = nullptr;
    double squares_ = 0;
    std::size_t squaresCount_ = 0;
};

}  // namespace tolvik
