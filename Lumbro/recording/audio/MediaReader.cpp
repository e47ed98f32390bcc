#include "recording/audio/MediaReader.h"

#include "recording/audio/LibAv.h"

#include <QFile>
#include <QFileInfo>
#include <QtEndian>

#include <algorithm>
#include <vector>

namespace lumbro {

namespace {

// A reader that goes on failing where it stands is at its end.
constexpr int mostFailures = 64;
// Files often begin or end with a piece that is no sound.
constexpr int harmlessFailures = 2;
constexpr double harmlessGap = 1;

/// The size that the head of a WAV file gives its sound; 0 when it gives none, as while it is written.
qint64 wavDataSize(const QByteArray& address) {
    constexpr qsizetype headSize = 65536;
    constexpr quint32 unknown = 0x7FFF0000;
    QFile file(QFile::decodeName(address.mid(address.indexOf(':') + 1)));
    if (!file.open(QIODevice::ReadOnly)) {
        return 0;
    }
    const QByteArray head = file.read(headSize);
    for (qsizetype at = 12; at + 8 <= head.size();) {
        const auto size = qFromLittleEndian<quint32>(head.constData() + at + 4);
        if (head.sliced(at, 4) == "data") {
            return size < unknown ? size : 0;
        }
        at += 8 + qsizetype(size) + (size % 2);
    }
    return 0;
}

/// Whether the last page of an Ogg file is there and says that it is the last.
bool hasLastOggPage(const QByteArray& address) {
    constexpr qint64 longestPage = 27 + 255 + (255 * 255);
    constexpr qsizetype headSize = 27;
    constexpr char endOfStream = 4;
    QFile file(QFile::decodeName(address.mid(address.indexOf(':') + 1)));
    if (!file.open(QIODevice::ReadOnly)) {
        return true;
    }
    file.seek(std::max<qint64>(0, file.size() - (2 * longestPage)));
    const QByteArray tail = file.readAll();
    const qsizetype at = tail.lastIndexOf("OggS");
    const QByteArrayView page = QByteArrayView(tail).sliced(std::max<qsizetype>(at, 0));
    if (at < 0 || page.size() < headSize) {
        return false;
    }
    const auto segments = static_cast<unsigned char>(page[headSize - 1]);
    const QByteArrayView sizes = page.sliced(headSize, std::min<qsizetype>(segments, page.size() - headSize));
    qsizetype whole = headSize + segments;
    for (const char size : sizes) {
        whole += static_cast<unsigned char>(size);
    }
    return whole <= page.size() && (page[5] & endOfStream) != 0;
}

}  // namespace

struct MediaReader::Private {
    av::InputFormat input;
    av::Decoder decoder;
    av::Frame frame{av_frame_alloc()};
    av::Packet packet{av_packet_alloc()};
    av::Converter converter;
    AVChannelLayout converterLayout{};
    int converterRate = 0;
    int converterSamples = AV_SAMPLE_FMT_NONE;
    AudioFormat format;
    int stream = -1;
    std::vector<float> samples;
    double decoded = 0;
    /// Packets that the file could not give or that could not be decoded.
    int failures = 0;

    ~Private() { av_channel_layout_uninit(&converterLayout); }

    int openInput(const QString& file);
    int openDecoder();
    bool prepareConverter();
    bool nextFrame();
    bool nextPacket();
    void convertFrame();
    const AVStream* ours() const { return input->streams[stream]; }
    double promised() const;
};

int MediaReader::Private::openInput(const QString& file) {
    // Only this one file: a playlist must not make us read others, nor the network.
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    AVFormatContext* opened = nullptr;
    const QByteArray address = "file:" + QFile::encodeName(file);
    const int status = avformat_open_input(&opened, address.constData(), nullptr, &options);
    av_dict_free(&options);
    input.reset(opened);
    return status < 0 ? status : avformat_find_stream_info(opened, nullptr);
}

int MediaReader::Private::openDecoder() {
    const AVCodec* codec = nullptr;
    stream = av_find_best_stream(input.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
    if (stream < 0) {
        return stream;
    }
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        input->streams[i]->discard = int(i) == stream ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
    decoder.reset(avcodec_alloc_context3(codec));
    avcodec_parameters_to_context(decoder.get(), input->streams[stream]->codecpar);
    decoder->thread_count = 1;
    decoder->pkt_timebase = input->streams[stream]->time_base;
    return avcodec_open2(decoder.get(), codec, nullptr);
}

Result<> MediaReader::open(const QString& file) {
    const QFileInfo info(file);
    const QString name = u"“"_s + info.fileName() + u"”"_s;
    if (!info.isFile()) {
        const QString given = u"“"_s + file + u"”"_s;
        return fail(FailureKind::notFound, !info.exists() ? u"There is no file "_s + given + u'.'
                                           : info.isDir()
                                               ? given + u" is a folder; give a file in it."_s
                                               : given + u" isn't a regular file, so it can't be played."_s);
    }
    if (!info.isReadable()) {
        return fail(u"The file "_s + name + u" can't be read: permission denied."_s);
    }
    av_log_set_level(AV_LOG_QUIET);
    Private& d = *m_private;
    if (const int status = d.openInput(file); status < 0) {
        return fail(name + u" isn't an audio file that Lumbro can read."_s);
    }
    if (const int status = d.openDecoder(); status < 0) {
        return fail(status == AVERROR_STREAM_NOT_FOUND
                        ? name + u" has no sound in it."_s
                        : name + u" isn't an audio file that Lumbro can read."_s);
    }
    d.format = {d.decoder->sample_rate, d.decoder->ch_layout.nb_channels};
    // Some formats only tell by their first frame what they hold; a file without one has no sound.
    if (!d.nextFrame()) {
        return fail(name + u" has no sound in it."_s);
    }
    d.format = {d.frame->sample_rate, d.frame->ch_layout.nb_channels};
    return {};
}

bool MediaReader::Private::prepareConverter() {
    AVChannelLayout layout{};
    if (frame->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
        av_channel_layout_default(&layout, frame->ch_layout.nb_channels);
    } else {
        av_channel_layout_copy(&layout, &frame->ch_layout);
    }
    const bool fits = converter && converterRate == frame->sample_rate && converterSamples == frame->format &&
                      av_channel_layout_compare(&layout, &converterLayout) == 0;
    if (!fits) {
        AVChannelLayout out{};
        if (layout.nb_channels == format.channels) {
            av_channel_layout_copy(&out, &layout);
        } else {
            av_channel_layout_default(&out, format.channels);
        }
        SwrContext* made = nullptr;
        swr_alloc_set_opts2(&made, &out, AV_SAMPLE_FMT_FLT, format.rate, &layout,
                            static_cast<AVSampleFormat>(frame->format), frame->sample_rate, 0, nullptr);
        converter.reset(made);
        av_channel_layout_uninit(&out);
        av_channel_layout_copy(&converterLayout, &layout);
        converterRate = frame->sample_rate;
        converterSamples = frame->format;
        if (made != nullptr && swr_init(made) < 0) {
            converter.reset();
        }
    }
    av_channel_layout_uninit(&layout);
    return converter != nullptr;
}

bool MediaReader::Private::nextPacket() {
    for (int inARow = 0; inARow < mostFailures;) {
        const int status = av_read_frame(input.get(), packet.get());
        if (status == AVERROR_EOF) {
            break;
        }
        const bool ours = status >= 0 && packet->stream_index == stream;
        // A damaged packet is left out; the ones after it are often sound.
        const bool taken = ours && avcodec_send_packet(decoder.get(), packet.get()) >= 0;
        av_packet_unref(packet.get());
        if (taken) {
            return true;
        }
        failures += ours || status < 0 ? 1 : 0;
        inARow = status < 0 ? inARow + 1 : 0;
    }
    return avcodec_send_packet(decoder.get(), nullptr) >= 0;
}

bool MediaReader::Private::nextFrame() {
    while (true) {
        const int status = avcodec_receive_frame(decoder.get(), frame.get());
        if (status >= 0 && frame->nb_samples > 0) {
            return true;
        }
        if (status == AVERROR_EOF) {
            return false;
        }
        failures += status < 0 && status != AVERROR(EAGAIN) ? 1 : 0;
        if (status < 0 && !nextPacket()) {
            return false;
        }
    }
}

void MediaReader::Private::convertFrame() {
    samples.clear();
    if (!prepareConverter()) {
        return;
    }
    const int capacity = swr_get_out_samples(converter.get(), frame->nb_samples);
    samples.resize(static_cast<size_t>(std::max(capacity, 0)) * static_cast<size_t>(format.channels));
    auto* out = reinterpret_cast<uint8_t*>(samples.data());
    const auto** in = const_cast<const uint8_t**>(frame->extended_data);
    const int made = swr_convert(converter.get(), &out, capacity, in, frame->nb_samples);
    samples.resize(static_cast<size_t>(std::max(made, 0)) * static_cast<size_t>(format.channels));
}

MediaReader::MediaReader() : m_private(std::make_unique<Private>()) {}

MediaReader::~MediaReader() = default;

AudioFormat MediaReader::format() const {
    return m_private->format;
}

double MediaReader::duration() const {
    const AVFormatContext* input = m_private->input.get();
    if (input == nullptr || input->duration == AV_NOPTS_VALUE || input->duration < 0) {
        return 0;
    }
    return static_cast<double>(input->duration) / AV_TIME_BASE;
}

double MediaReader::Private::promised() const {
    if (qstrcmp(input->iformat->name, "wav") == 0) {
        // Of a file that is cut off, the reader only tells what is left.
        const AVCodecParameters* sound = ours()->codecpar;
        const double bytesPerSecond = double(sound->block_align) * sound->sample_rate;
        return bytesPerSecond > 0 ? static_cast<double>(wavDataSize(input->url)) / bytesPerSecond : 0;
    }
    if (input->duration_estimation_method == AVFMT_DURATION_FROM_BITRATE) {
        return 0;
    }
    if (ours()->duration > 0) {
        return static_cast<double>(ours()->duration) * av_q2d(ours()->time_base);
    }
    // A film may well be longer than its sound.
    return input->nb_streams == 1 ? static_cast<double>(input->duration) / AV_TIME_BASE : 0;
}

double MediaReader::position() const {
    return m_private->decoded;
}

MediaEnd MediaReader::end() const {
    const Private& d = *m_private;
    const double promised = d.promised();
    if (d.failures > harmlessFailures || promised > d.decoded + harmlessGap) {
        return MediaEnd::damaged;
    }
    const auto isOf = [&d](const char* format) { return qstrcmp(d.input->iformat->name, format) == 0; };
    if (isOf("ogg") && !hasLastOggPage(d.input->url)) {
        return MediaEnd::cutOff;
    }
    // Other formats may well leave the length open.
    const bool isLonger = isOf("mp3") && promised > 0 && d.decoded > promised + harmlessGap;
    return isLonger ? MediaEnd::longer : MediaEnd::whole;
}

std::optional<std::span<const float>> MediaReader::read() {
    Private& d = *m_private;
    // `open` has already decoded the first frame.
    if (d.frame->nb_samples == 0 && !d.nextFrame()) {
        return std::nullopt;
    }
    d.convertFrame();
    d.decoded += static_cast<double>(d.frame->nb_samples) / std::max(d.frame->sample_rate, 1);
    av_frame_unref(d.frame.get());
    return d.samples;
}

}  // namespace lumbro
