#pragma once

#include <QString>

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libswresample/swresample.h>
}

/// Owners for the objects of libavformat and its sisters.
namespace lumbro::av {

struct Free {
    void operator()(AVFormatContext* input) const { avformat_close_input(&input); }
    void operator()(AVCodecContext* codec) const { avcodec_free_context(&codec); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(SwrContext* converter) const { swr_free(&converter); }
};
struct FreeOutput {
    void operator()(AVFormatContext* output) const { avformat_free_context(output); }
};

using InputFormat = std::unique_ptr<AVFormatContext, Free>;
using OutputFormat = std::unique_ptr<AVFormatContext, FreeOutput>;
using Encoder = std::unique_ptr<AVCodecContext, Free>;
using Decoder = std::unique_ptr<AVCodecContext, Free>;
using Frame = std::unique_ptr<AVFrame, Free>;
using Packet = std::unique_ptr<AVPacket, Free>;
using Converter = std::unique_ptr<SwrContext, Free>;

/// The words for a negative status of these libraries.
inline QString reason(int status) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(status, text, sizeof text);
    return QString::fromLocal8Bit(text);
}

}  // namespace lumbro::av
