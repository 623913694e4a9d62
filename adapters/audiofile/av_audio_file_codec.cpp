#include "adapters/audiofile/av_audio_file_codec.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <vector>

#include "adapters/audiofile/av_handles.h"
#include "adapters/audiofile/sound_decoder.h"

namespace tolvik {

namespace {

constexpr std::int64_t bitsPerSecond = 64'000;
constexpr std::uintmax_t maxFileSize = std::uintmax_t{64} << 20U;

class AvAudioFile final : public AudioFile {
public:
    AvAudioFile() = default;
    AvAudioFile(const AvAudioFile&) = delete;
    AvAudioFile& operator=(const AvAudioFile&) = delete;

    ~AvAudioFile() override {
        if (isOpen_) {
            encode(pending_.size() / channels());
            send(nullptr);
            av_write_trailer(container_);
        }
        if (container_ != nullptr) {
            avio_closep(&container_->pb);
            avformat_free_context(container_);
        }
    }

    /// Why it cannot be opened, or nothing.
    [[nodiscard]] std::string open(const std::filesystem::path& file, AudioFormat format) {
        // The scheme keeps a name with a colon from being taken for an address.
        const std::string url = "file:" + file.string();
        const AVCodec* encoder = avcodec_find_encoder(AV_CODEC_ID_AAC);
        if (encoder == nullptr || avformat_alloc_output_context2(&container_, nullptr, "ipod", url.c_str()) < 0) {
            return "the AAC encoder is missing";
        }
        codec_.reset(avcodec_alloc_context3(encoder));
        codec_->sample_fmt = AV_SAMPLE_FMT_FLTP;
        codec_->sample_rate = format.sampleRate;
        codec_->bit_rate = bitsPerSecond;
        codec_->time_base = {1, format.sampleRate};
        av_channel_layout_default(&codec_->ch_layout, format.channels);
        if ((container_->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
            codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        }
        if (const int code = avcodec_open2(codec_.get(), encoder, nullptr); code < 0) {
            return "the recording's format cannot be encoded (" + avError(code) + ")";
        }
        stream_ = avformat_new_stream(container_, nullptr);
        stream_->time_base = codec_->time_base;
        avcodec_parameters_from_context(stream_->codecpar, codec_.get());
        if (const int code = avio_open(&container_->pb, url.c_str(), AVIO_FLAG_WRITE); code < 0) {
            return avError(code);
        }
        if (const int code = avformat_write_header(container_, nullptr); code < 0) {
            return avError(code);
        }
        frame_.reset(av_frame_alloc());
        packet_.reset(av_packet_alloc());
        isOpen_ = true;
        return {};
    }

    void append(std::span<const float> interleaved) override {
        pending_.insert(pending_.end(), interleaved.begin(), interleaved.end());
        const auto frameSize = static_cast<std::size_t>(codec_->frame_size);
        while (pending_.size() >= frameSize * channels()) {
            encode(frameSize);
        }
    }

private:
    [[nodiscard]] std::size_t channels() const { return static_cast<std::size_t>(codec_->ch_layout.nb_channels); }

    /// Encodes the first `count` frames of what is pending.
    void encode(std::size_t count) {
        if (count == 0) {
            return;
        }
        AVFrame& frame = *frame_;
        frame.format = codec_->sample_fmt;
        frame.sample_rate = codec_->sample_rate;
        frame.nb_samples = static_cast<int>(count);
        frame.pts = written_;
        written_ += frame.nb_samples;
        if (av_channel_layout_copy(&frame.ch_layout, &codec_->ch_layout) >= 0 && av_frame_get_buffer(&frame, 0) >= 0) {
            for (std::size_t channel = 0; channel < channels(); ++channel) {
                auto* plane = reinterpret_cast<float*>(frame.extended_data[channel]);
                for (std::size_t i = 0; i < count; ++i) {
                    const float sample = pending_[i * channels() + channel];
                    // The encoder refuses a frame with anything that is not finite.
                    plane[i] = std::isfinite(sample) ? std::clamp(sample, -1.0F, 1.0F) : 0.0F;
                }
            }
            send(&frame);
        }
        av_frame_unref(&frame);
        pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(count * channels()));
    }

    void send(const AVFrame* frame) {
        if (avcodec_send_frame(codec_.get(), frame) < 0) {
            return;
        }
        while (avcodec_receive_packet(codec_.get(), packet_.get()) >= 0) {
            av_packet_rescale_ts(packet_.get(), codec_->time_base, stream_->time_base);
            packet_->stream_index = stream_->index;
            // A failed write loses this stretch of sound and nothing else.
            std::ignore = av_write_frame(container_, packet_.get());
            av_packet_unref(packet_.get());
        }
    }

    AVFormatContext* container_ = nullptr;
    AVStream* stream_ = nullptr;
    AvCodec codec_;
    AvFrame frame_;
    AvPacket packet_;
    std::vector<float> pending_;
    std::int64_t written_ = 0;
    bool isOpen_ = false;
};

}  // namespace

Result<std::unique_ptr<AudioFile>, std::string> AvAudioFileCodec::create(const std::filesystem::path& file,
                                                                         AudioFormat format) {
    if (format.sampleRate <= 0 || format.channels <= 0) {
        return failure(std::string("the recording has no format"));
    }
    auto out = std::make_unique<AvAudioFile>();
    if (std::string problem = out->open(file, format); !problem.empty()) {
        return failure(std::move(problem));
    }
    return out;
}

Result<AudioFileCodec::Sound, std::string> AvAudioFileCodec::read(const std::filesystem::path& file) {
    // What is wrong with a file is in the answer; the library would tell the terminal as well, in its own words.
    av_log_set_level(AV_LOG_QUIET);
    std::error_code error;
    if (!std::filesystem::is_regular_file(file, error)) {
        return failure("There is no file " + file.string() + ".");
    }
    if (std::filesystem::file_size(file, error) > maxFileSize) {
        return failure(std::string("The file is larger than 64 MB."));
    }
    std::ifstream in(file, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
    if (!in) {
        return failure("The file " + file.string() + " cannot be read.");
    }
    return decodeSound({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
}

}  // namespace tolvik
