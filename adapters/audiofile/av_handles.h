#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <array>
#include <memory>
#include <string>

namespace tolvik {

/// Owners of the libraries' objects.
struct AvFree {
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(SwrContext* converter) const { swr_free(&converter); }
};
using AvCodec = std::unique_ptr<AVCodecContext, AvFree>;
using AvFrame = std::unique_ptr<AVFrame, AvFree>;
using AvPacket = std::unique_ptr<AVPacket, AvFree>;
using AvConverter = std::unique_ptr<SwrContext, AvFree>;

/// The library's words for an error code.
[[nodiscard]] inline std::string avError(int code) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(code, text.data(), text.size());
    return text.data();
}

}  // namespace tolvik
