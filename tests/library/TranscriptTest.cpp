#include "LumbroCore/Literals.h"
#include "library/TranscriptWords.h"
#include "library/formats/TranscriptSegment.h"

#include <gtest/gtest.h>

using namespace lumbro;

namespace {

TranscriptSegment says(Speaker speaker, double start, const QString& text) {
    return {QUuid(u"5f3b1c9e-0d57-4f0b-9a58-6f2f6b3f3f10"_s), speaker, start, text};
}

}  // namespace

TEST(Transcript, isWrittenByteForByte) {
    const TranscriptSegments segments{says(Speaker::me, 0, u"Größe: \"9\"\n"_s),
                                      says(Speaker::them, 4.25, u"Yes"_s)};
    const char* golden = R"([
  {
    "id": "5F3B1C9E-0D57-4F0B-9A58-6F2F6B3F3F10",
    "speaker": "Me",
    "start": 0,
    "text": "Größe: \"9\"\n"
  },
  {
    "id": "5F3B1C9E-0D57-4F0B-9A58-6F2F6B3F3F10",
    "speaker": "Them",
    "start": 4.25,
    "text": "Yes"
  }
])";
    EXPECT_EQ(transcript::encode(segments).toStdString(), golden);
    EXPECT_EQ(transcript::decode(golden), segments);
    EXPECT_EQ(transcript::encode({}), "[]");
}

TEST(Transcript, isReadWholeOrNotAtAll) {
    const QByteArray good = transcript::encode({says(Speaker::me, 1, u"a"_s)});
    for (const char* word : {"\"Me\"", "\"start\"", "\"text\"", "\"5F3B1C9E-", "]"}) {
        QByteArray bytes = good;
        EXPECT_EQ(transcript::decodeWhole(bytes.replace(word, "\"They\"")), std::nullopt) << word;
    }
    const TranscriptSegments zeros{{QUuid(), Speaker::me, 1, u"a"_s}};
    EXPECT_EQ(transcript::decodeWhole(transcript::encode(zeros)), zeros) << "an id all the same";
    EXPECT_EQ(transcript::decodeWhole("[]"), TranscriptSegments());
    EXPECT_EQ(transcript::decodeWhole("{}"), std::nullopt);
    EXPECT_EQ(transcript::decodeWhole(""), std::nullopt);
    EXPECT_EQ(transcript::decode("[1]"), TranscriptSegments());
}

TEST(Transcript, mergesWhatOneSpeakerSaysWithin45SecondsOfTheFirstWord) {
    const struct {
        TranscriptSegments segments;
        QString markdown;
    } rows[] = {
        {{}, u""_s},
        {{says(Speaker::me, 44.9, u"b"_s), says(Speaker::me, 0, u"a"_s)}, u"[00:00:00] Me: a b\n"_s},
        {{says(Speaker::me, 0, u"a"_s), says(Speaker::me, 45, u"b"_s)},
         u"[00:00:00] Me: a\n[00:00:45] Me: b\n"_s},
        {{says(Speaker::me, 0, u"a"_s), says(Speaker::me, 30, u"b"_s), says(Speaker::me, 60, u"c"_s)},
         u"[00:00:00] Me: a b\n[00:01:00] Me: c\n"_s},
        {{says(Speaker::me, 0, u"a"_s), says(Speaker::them, 10, u"b"_s), says(Speaker::me, 20, u"c"_s)},
         u"[00:00:00] Me: a\n[00:00:10] Them: b\n[00:00:20] Me: c\n"_s},
        {{says(Speaker::me, 5, u"a"_s), says(Speaker::me, 5, u"b"_s)}, u"[00:00:05] Me: a b\n"_s},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(transcript::markdown(row.segments, u"Two\nlines"_s), u"# Two\nlines\n\n"_s + row.markdown);
    }
}

TEST(Transcript, stampsDoNotWrapHours) {
    EXPECT_EQ(transcript::timestamp(3661.7), u"01:01:01"_s);
    EXPECT_EQ(transcript::timestamp(360000), u"100:00:00"_s);
    EXPECT_EQ(transcript::timestamp(-3), u"00:00:00"_s);
    transcript::timestamp(1e300);
}

TEST(Transcript, countsWordsAsTheFullReaderDoes) {
    const QByteArray plain =
        transcript::encode({says(Speaker::me, 0, u"at 4pm — naïve"_s), says(Speaker::them, 10.5, u"ok"_s)});
    QByteArray crlf = plain;
    crlf.replace("\n", "\r\n");
    QByteArray badText = plain;
    badText.replace("ok", "\xff");
    QByteArray badStart = plain;
    badStart.replace("10.5", "010");
    QByteArray badSpeaker = plain;
    badSpeaker.replace("Them", "They");
    const std::pair<QByteArray, int> rows[] = {
        {plain, 4},
        {crlf, 4},
        {transcript::encode({says(Speaker::me, 0, u"one\ntwo \"three\""_s)}), 3},
        {badText, 0},
        {badStart, 0},
        {badSpeaker, 0},
        {plain.chopped(1), 0},
        {plain + "]", 0},
        {"[]", 0},
        {"", 0},
    };
    for (const auto& [bytes, words] : rows) {
        EXPECT_EQ(transcriptWords(bytes), words) << bytes.toStdString();
    }
}
