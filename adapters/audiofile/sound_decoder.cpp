#include "adapters/audiofile/sound_decoder.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "adapters/audiofile/av_handles.h"

namespace tolvik {

namespace {

constexpr int maxChannels = 8;
constexpr int maxRate = 384'000;

/// The bytes as the library's input.
class MemoryInput {
public:
    explicit MemoryInput(std::span<const std::uint8_t> bytes) : bytes_(bytes) {
        constexpr int bufferSize = 32 * 1024;
        io_ = avio_alloc_context(static_cast<unsigned char*>(av_malloc(bufferSize)), bufferSize, 0, this, &read,
                                 nullptr, &seek);
    }
    MemoryInput(const MemoryInput&) = delete;
    MemoryInput& operator=(const MemoryInput&) = delete;
    ~MemoryInput() {
        avformat_close_input(&format_);
        av_freep(static_cast<void*>(&io_->buffer));
        avio_context_free(&io_);
    }

    /// Recognises the format; the library's error code, or 0.
    [[nodiscard]] int open() {
        format_ = avformat_alloc_context();
        format_->pb = io_;
        format_->flags |= AVFMT_FLAG_CUSTOM_IO;
        AVDictionary* options = nullptr;
        av_dict_set(&options, "format_whitelist", "mov,mp4,m4a,3gp,3g2,mj2,wav", 0);
        // A file may name further files; none is opened.
        av_dict_set(&options, "protocol_whitelist", "none", 0);
        const int code = avformat_open_input(&format_, nullptr, nullptr, &options);
        av_dict_free(&options);
        return code;
    }
    [[nodiscard]] AVFormatContext* format() const { return format_; }

private:
    static int read(void* opaque, std::uint8_t* to, int size) {
        auto* self = static_cast<MemoryInput*>(opaque);
        const std::size_t left = self->bytes_.size() - self->position_;
        const std::size_t count = std::min(left, static_cast<std::size_t>(std::max(size, 0)));
        if (count == 0) {
            return AVERROR_EOF;
        }
        std::memcpy(to, self->bytes_.data() + self->position_, count);
        self->position_ += count;
        return static_cast<int>(count);
    }
    static std::int64_t seek(void* opaque, std::int64_t offset, int whence) {
        auto* self = static_cast<MemoryInput*>(opaque);
        const auto size = static_cast<std::int64_t>(self->bytes_.size());
        switch (whence & ~AVSEEK_FORCE) {
            case AVSEEK_SIZE:
                return size;
            case SEEK_CUR:
                offset += static_cast<std::int64_t>(self->position_);
                break;
            case SEEK_END:
                offset += size;
                break;
            default:
                break;
        }
        if (offset < 0 || offset > size) {
            return AVERROR(EINVAL);
        }
        self->position_ = static_cast<std::size_t>(offset);
        return offset;
    }

    std::span<const std::uint8_t> bytes_;
    std::size_t position_ = 0;
    AVIOContext* io_ = nullptr;
    AVFormatContext* format_ = nullptr;
};

/// Turns decoded frames into one run of interleaved floats at their own rate.
class Collector {
public:
    /// What is wrong with the frame, or nothing.
    [[nodiscard]] std::string add(AVFrame& frame) {
        if (frame.nb_samples <= 0) {
            return {};
        }
        const AudioFormat format{frame.sample_rate, frame.ch_layout.nb_channels};
        if (format.sampleRate <= 0 || format.sampleRate > maxRate || format.channels <= 0 ||
            format.channels > maxChannels) {
            return "The sound has a rate or a number of channels that no recording has.";
        }
        if (!converter_) {
            sound.format = format;
            sampleFormat_ = frame.format;
            SwrContext* made = nullptr;
            if (swr_alloc_set_opts2(&made, &frame.ch_layout, AV_SAMPLE_FMT_FLT, format.sampleRate, &frame.ch_layout,
                                    static_cast<AVSampleFormat>(frame.format), format.sampleRate, 0, nullptr) < 0) {
                return "The sound cannot be converted.";
            }
            converter_.reset(made);
            if (swr_init(made) < 0) {
                return "The sound cannot be converted.";
            }
        }
        if (format != sound.format || frame.format != sampleFormat_) {
            return "The sound changes its format on the way.";
        }
        const auto count = static_cast<std::size_t>(frame.nb_samples) * static_cast<std::size_t>(format.channels);
        const std::size_t before = sound.interleaved.size();
        if (before + count > maxDecodedSamples) {
            return "The sound is longer than ten minutes.";
        }
        sound.interleaved.resize(before + count);
        std::uint8_t* to[1] = {reinterpret_cast<std::uint8_t*>(sound.interleaved.data() + before)};
        auto* from = const_cast<const std::uint8_t**>(frame.extended_data);
        const int converted = swr_convert(converter_.get(), to, frame.nb_samples, from, frame.nb_samples);
        sound.interleaved.resize(before + static_cast<std::size_t>(std::max(converted, 0)) *
                                              static_cast<std::size_t>(format.channels));
        return {};
    }

    AudioFileCodec::Sound sound;

private:
    AvConverter converter_;
    int sampleFormat_ = AV_SAMPLE_FMT_NONE;
};

}  // namespace

Result<AudioFileCodec::Sound, std::string> decodeSound(std::span<const std::uint8_t> bytes) {
    MemoryInput input(bytes);
    if (const int code = input.open(); code < 0) {
        return failure("This is no .m4a or .wav file (" + avError(code) + ").");
    }
    const AVCodec* decoder = nullptr;
    const int index = av_find_best_stream(input.format(), AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0);
    if (index < 0 || decoder == nullptr) {
        return failure(std::string("The file holds no sound that can be decoded."));
    }
    const AVStream* stream = input.format()->streams[index];
    const AvCodec codec(avcodec_alloc_context3(decoder));
    if (avcodec_parameters_to_context(codec.get(), stream->codecpar) < 0 ||
        avcodec_open2(codec.get(), decoder, nullptr) < 0) {
        return failure(std::string("The file's sound cannot be decoded."));
    }
    codec->pkt_timebase = stream->time_base;

    Collector collector;
    const AvPacket packet(av_packet_alloc());
    const AvFrame frame(av_frame_alloc());
    for (bool ended = false; !ended;) {
        ended = av_read_frame(input.format(), packet.get()) < 0;
        if (!ended && packet->stream_index != index) {
            av_packet_unref(packet.get());
            continue;
        }
        // A damaged packet loses its own stretch of sound only.
        const int sent = avcodec_send_packet(codec.get(), ended ? nullptr : packet.get());
        av_packet_unref(packet.get());
        if (sent < 0 && !ended) {
            continue;
        }
        while (avcodec_receive_frame(codec.get(), frame.get()) >= 0) {
            const std::string problem = collector.add(*frame);
            av_frame_unref(frame.get());
            if (!problem.empty()) {
                return failure(problem);
            }
        }
    }
    if (collector.sound.format.channels == 0) {
        return failure(std::string("The file holds no sound that can be decoded."));
    }
    return std::move(collector.sound);
}

}  // namespace tolvik
