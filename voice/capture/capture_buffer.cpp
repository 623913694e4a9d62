#include "voice/capture/capture_buffer.h"

#include <algorithm>
#include <cmath>

namespace tolvik {

CaptureBuffer::CaptureBuffer(const Clock& clock) : clock_(clock), spare_(new float[chunkSize]) {
    // Room for more than a minute at any usual rate, so that the audio thread does not grow it.
    chunks_.reserve(256);
}

void CaptureBuffer::append(std::span<const float> samples) {
    if (samples.empty()) {
        return;
    }
    const std::scoped_lock lock(mutex_);
    if (!firstSamplesAt_) {
        firstSamplesAt_ = clock_.now();
    }
    for (const float sample : samples) {
        squares_ += static_cast<double>(sample) * static_cast<double>(sample);
    }
    squaresCount_ += samples.size();
    std::span<const float> rest = samples;
    while (!rest.empty()) {
        const std::size_t used = size_ % chunkSize;
        if (size_ == chunks_.size() * chunkSize) {
            chunks_.push_back(spare_ ? std::move(spare_) : Chunk(new float[chunkSize]));
        }
        const std::size_t count = std::min(rest.size(), chunkSize - used);
        std::copy_n(rest.data(), count, chunks_.back().get() + used);
        size_ += count;
        rest = rest.subspan(count);
    }
    if (session_ != nullptr) {
        session_->append(samples);
    }
}

std::vector<CaptureBuffer::Piece> CaptureBuffer::piecesFrom(std::size_t position) const {
    std::vector<Piece> out;
    while (position < size_) {
        const std::size_t offset = position % chunkSize;
        const std::size_t count = std::min(chunkSize - offset, size_ - position);
        out.push_back({chunks_[position / chunkSize].get() + offset, count});
        position += count;
    }
    return out;
}

std::size_t CaptureBuffer::read(std::size_t position, const std::function<void(std::span<const float>)>& visit) const {
    std::vector<Piece> pieces;
    {
        const std::scoped_lock lock(mutex_);
        pieces = piecesFrom(position);
    }
    for (const Piece& piece : pieces) {
        visit({piece.data, piece.count});
        position += piece.count;
    }
    return position;
}

void CaptureBuffer::attach(SpeechSession& session) {
    const auto hand = [&session](std::span<const float> samples) { session.append(samples); };
    // The bulk goes without the lock; what came meanwhile is little enough to go under it.
    std::size_t position = read(0, hand);
    position = read(position, hand);
    const std::scoped_lock lock(mutex_);
    for (const Piece& piece : piecesFrom(position)) {
        session.append({piece.data, piece.count});
    }
    session_ = &session;
}

void CaptureBuffer::detach() {
    const std::scoped_lock lock(mutex_);
    session_ = nullptr;
}

std::size_t CaptureBuffer::size() const {
    const std::scoped_lock lock(mutex_);
    return size_;
}

std::optional<Instant> CaptureBuffer::firstSamplesAt() const {
    const std::scoped_lock lock(mutex_);
    return firstSamplesAt_;
}

float CaptureBuffer::takeLevel() {
    Chunk fresh(new float[chunkSize]);
    double squares = 0;
    std::size_t count = 0;
    {
        const std::scoped_lock lock(mutex_);
        if (!spare_) {
            spare_ = std::move(fresh);
        }
        std::swap(squares, squares_);
        std::swap(count, squaresCount_);
    }
    if (count == 0 || squares <= 0) {
        return 0;
    }
    const double decibels = 10.0 * std::log10(squares / static_cast<double>(count));
    return static_cast<float>(std::clamp((decibels + 55.0) / 50.0, 0.0, 1.0));
}

}  // namespace tolvik
