#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Clock.h"
#include "LumbroSpeech/PocketsphinxRecognizer.h"
#include "library/ContextLibrary.h"
#include "recording/CaptureSession.h"
#include "recording/audio/FileAudioSource.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/Wait.h"

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QtEndian>

#include <gtest/gtest.h>

namespace lumbro {
namespace {

using test::wait;

/// Something said at a time, with its words.
struct Utterance {
    Speaker speaker;
    double at;
    QString clip;
    QString words;
};

const QString clips =
    u"/usr/share/pocketsphinx/test/data/librivox/sense_and_sensibility_01_austen_64kb-%1.wav"_s;
constexpr int rate = 16000;
constexpr int length = 34;

const QList<Utterance> conversation{
    {Speaker::me, 2, u"0870"_s,
     u"and mister john dashwood had then leisure to consider how much there might be prudently in his power to do for them"_s},
    {Speaker::them, 11, u"0890"_s,
     u"unless to be rather cold hearted and rather selfish is to be ill disposed"_s},
    {Speaker::me, 18, u"0920"_s,
     u"had he married a more amiable woman he might have been made still more respectable than he was"_s},
    {Speaker::them, 27, u"0930"_s, u"he might even have been made amiable himself"_s},
};

/// What one speaker says in the whole conversation, as the bytes of a WAV file.
QByteArray wavOf(Speaker speaker) {
    constexpr qsizetype headerSize = 44;
    QByteArray sound(qsizetype(length) * rate * 2, '\0');
    // A room is never quite silent.
    for (qsizetype i = 0; i < sound.size(); i += 2) {
        sound[i] = static_cast<char>((i * 7919) % 23);
    }
    for (const Utterance& said : conversation) {
        if (said.speaker == speaker) {
            const QByteArray clip = readFile(clips.arg(said.clip)).value_or(QByteArray()).mid(headerSize);
            sound.replace(static_cast<qsizetype>(said.at * rate) * 2, clip.size(), clip);
        }
    }
    QByteArray head("RIFF....WAVEfmt \x10\0\0\0\1\0\1\0\x80\x3e\0\0\0\x7d\0\0\2\0\x10\0data....", headerSize);
    qToLittleEndian<quint32>(static_cast<quint32>(sound.size() + 36), head.data() + 4);
    qToLittleEndian<quint32>(static_cast<quint32>(sound.size()), head.data() + 40);
    return head + sound;
}

QStringList wordsOf(const QString& text) {
    return text.toLower().split(QRegularExpression(u"[^a-z']+"_s), Qt::SkipEmptyParts);
}

/// Part of the reference's words that are in the text, in any order.
double heardPart(const QString& reference, const QString& text) {
    QStringList heard = wordsOf(text);
    const QStringList words = wordsOf(reference);
    const auto count =
        std::ranges::count_if(words, [&heard](const QString& word) { return heard.removeOne(word); });
    return static_cast<double>(count) / static_cast<double>(words.size());
}

Task<std::optional<WarmSpeech>> warm() {
    co_return WarmSpeech{u"en-US"_s, std::make_shared<speech::PocketsphinxRecognizer>()};
}

void expectHeard(const TranscriptSegments& segments, const Utterance& said, double end) {
    QString text;
    double start = -1;
    for (const TranscriptSegment& segment : segments) {
        if (segment.speaker == said.speaker && segment.start > said.at - 1 && segment.start < end) {
            start = start < 0 ? segment.start : start;
            text += segment.text + u' ';
        }
    }
    EXPECT_NEAR(start, said.at, 1.0) << text.toStdString();
    EXPECT_GT(heardPart(said.words, text), 0.5) << text.toStdString();
}

TEST(FedRecording, twoFilesBecomeATranscriptWithTheRightWordsSpeakersAndTimes) {
    if (!speech::PocketsphinxRecognizer::isInstalled() || !QFileInfo::exists(clips.arg(u"0870"_s))) {
        GTEST_SKIP() << "the embedded speech model or its test recordings are not installed";
    }
    const test::ScratchFolder folder;
    folder.write(u"me.wav"_s, wavOf(Speaker::me));
    folder.write(u"them.wav"_s, wavOf(Speaker::them));
    SystemClock clock;
    ContextLibrary library(folder.path(u"library"_s), clock);
    library.open();
    const QDateTime began = QDateTime(QDate(2026, 3, 2), QTime(9, 0));
    const CaptureRecord record = library.createCapture(CaptureKind::meeting, u"Meeting"_s, {}, began);

    CaptureSession::Ports ports{.library = library, .clock = clock};
    ports.gate = std::make_shared<FeedGate>();
    ports.timing = CaptureTiming::audio;
    ports.warmSpeech = warm;
    ports.microphone = std::make_unique<FileAudioSource>(clock, folder.path(u"me.wav"_s),
                                                         ports.gate->playback(Speaker::me, false));
    ports.system = std::make_unique<FileAudioSource>(clock, folder.path(u"them.wav"_s),
                                                     ports.gate->playback(Speaker::them, false));
    CaptureSession session(record, true, std::move(ports));
    bool isFed = false;
    QObject::connect(&session, &CaptureSession::ended, [&isFed] { isFed = true; });
    QElapsedTimer elapsed;
    elapsed.start();
    ASSERT_TRUE(wait(session.start()).has_value());
    ASSERT_TRUE(test::eventually([&isFed] { return isFed; }));
    const CaptureRecord stopped = wait(session.stop());
    wait(session.packed());
    RecordProperty("seconds", static_cast<int>(elapsed.elapsed() / 1000));

    EXPECT_NEAR(static_cast<double>(began.msecsTo(*stopped.meta.endedAt)) / 1000, length, 0.1);
    EXPECT_TRUE(QFileInfo::exists(record.path(u"me.m4a"_s)) && QFileInfo::exists(record.path(u"them.m4a"_s)));
    const TranscriptSegments segments = transcript::decode(*readFile(record.path(u"transcript.json"_s)));
    for (qsizetype i = 0; i < conversation.size(); ++i) {
        expectHeard(segments, conversation[i],
                    i + 2 < conversation.size() ? conversation[i + 2].at - 1 : length);
    }
}

}  // namespace
}  // namespace lumbro
