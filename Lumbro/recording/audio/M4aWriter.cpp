#include "recording/audio/M4aWriter.h"

#include "recording/audio/LibAv.h"
#include "recording/audio/TrackPipeline.h"

#include <QFile>

#include <algorithm>

#include <fcntl.h>
#include <unistd.h>

namespace lumbro {

namespace {

constexpr int bitRate = 32000;

}  // namespace

struct M4aWriter::Private {
    av::OutputFormat output;
    av::Encoder encoder;
    av::Frame frame;
    av::Packet packet;
    AVStream* stream = nullptr;
    QByteArray path;
    int filled = 0;
    qint64 position = 0;

    int openEncoder();
    int openFile();
    int encode(AVFrame* input);
    int encodeBlock();
};

int M4aWriter::Private::openEncoder() {
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (codec == nullptr) {
        return AVERROR_ENCODER_NOT_FOUND;
    }
    encoder.reset(avcodec_alloc_context3(codec));
    encoder->bit_rate = bitRate;
    encoder->sample_rate = TrackPipeline::sampleRate;
    encoder->sample_fmt = AV_SAMPLE_FMT_FLTP;
    encoder->time_base = {1, TrackPipeline::sampleRate};
    encoder->thread_count = 1;
    av_channel_layout_default(&encoder->ch_layout, 1);
    if ((output->oformat->flags & AVFMT_GLOBALHEADER) != 0) {
        encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    return avcodec_open2(encoder.get(), codec, nullptr);
}

int M4aWriter::Private::openFile() {
    // Made here with its mode, since libavformat would make it readable for others.
    const int descriptor = ::open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (descriptor < 0) {
        return AVERROR(errno);
    }
    ::close(descriptor);
    const int opened = avio_open(&output->pb, QByteArray("file:" + path).constData(), AVIO_FLAG_WRITE);
    return opened < 0 ? opened : avformat_write_header(output.get(), nullptr);
}

int M4aWriter::Private::encode(AVFrame* input) {
    int status = avcodec_send_frame(encoder.get(), input);
    while (status >= 0) {
        status = avcodec_receive_packet(encoder.get(), packet.get());
        if (status == AVERROR(EAGAIN) || status == AVERROR_EOF) {
            return 0;
        }
        if (status >= 0) {
            av_packet_rescale_ts(packet.get(), encoder->time_base, stream->time_base);
            packet->stream_index = stream->index;
            status = av_write_frame(output.get(), packet.get());
            av_packet_unref(packet.get());
        }
    }
    return status;
}

int M4aWriter::Private::encodeBlock() {
    frame->nb_samples = filled;
    frame->pts = position;
    position += filled;
    filled = 0;
    const int status = encode(frame.get());
    // The encoder may keep a reference to the samples.
    frame->nb_samples = encoder->frame_size;
    const int writable = av_frame_make_writable(frame.get());
    return status < 0 ? status : writable;
}

M4aWriter::M4aWriter() : m_private(std::make_unique<Private>()) {}

M4aWriter::~M4aWriter() {
    if (m_private->output) {
        avio_closep(&m_private->output->pb);
    }
}

Result<> M4aWriter::open(const QString& file) {
    Private& d = *m_private;
    d.path = QFile::encodeName(file);
    av_log_set_level(AV_LOG_QUIET);
    AVFormatContext* made = nullptr;
    int status = avformat_alloc_output_context2(&made, nullptr, "ipod", nullptr);
    if (status < 0) {
        return fail(av::reason(status));
    }
    d.output.reset(made);
    if (status = d.openEncoder(); status < 0) {
        return fail(av::reason(status));
    }
    d.stream = avformat_new_stream(made, nullptr);
    d.stream->time_base = d.encoder->time_base;
    avcodec_parameters_from_context(d.stream->codecpar, d.encoder.get());
    d.frame.reset(av_frame_alloc());
    d.packet.reset(av_packet_alloc());
    d.frame->format = d.encoder->sample_fmt;
    d.frame->nb_samples = d.encoder->frame_size;
    d.frame->sample_rate = d.encoder->sample_rate;
    av_channel_layout_copy(&d.frame->ch_layout, &d.encoder->ch_layout);
    if (status = av_frame_get_buffer(d.frame.get(), 0); status >= 0) {
        status = d.openFile();
    }
    return status < 0 ? Result<>(fail(av::reason(status))) : Result<>();
}

Result<> M4aWriter::write(std::span<const float> samples) {
    Private& d = *m_private;
    while (!samples.empty()) {
        const size_t now = std::min(samples.size(), static_cast<size_t>(d.encoder->frame_size - d.filled));
        auto* to = reinterpret_cast<float*>(d.frame->data[0]) + d.filled;
        std::ranges::copy(samples.first(now), to);
        d.filled += static_cast<int>(now);
        samples = samples.subspan(now);
        if (d.filled == d.encoder->frame_size) {
            if (const int status = d.encodeBlock(); status < 0) {
                return fail(av::reason(status));
            }
        }
    }
    return {};
}

Result<> M4aWriter::finish() {
    Private& d = *m_private;
    int status = d.filled > 0 ? d.encodeBlock() : 0;
    if (status >= 0) {
        status = d.encode(nullptr);
    }
    if (status >= 0) {
        status = av_write_trailer(d.output.get());
    }
    if (status >= 0) {
        status = d.output->pb->error;
    }
    const int closed = avio_closep(&d.output->pb);
    if (status < 0 || closed < 0) {
        return fail(av::reason(status < 0 ? status : closed));
    }
    // The recording is deleted after this, so it must not only be in memory.
    const int descriptor = ::open(d.path.constData(), O_RDONLY | O_CLOEXEC);
    const bool synced = descriptor >= 0 && ::fsync(descriptor) == 0;
    const QString reason = synced ? QString() : qt_error_string(errno);
    if (descriptor >= 0) {
        ::close(descriptor);
    }
    return synced ? Result<>() : Result<>(fail(reason));
}

}  // namespace lumbro
