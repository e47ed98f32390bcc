#include "LumbroCore/Literals.h"
#include "LumbroSpeech/RecognizedText.h"
#include "LumbroSpeech/WhisperDecoder.h"
#include "LumbroSpeech/WhisperFile.h"
#include "tests/speech/SpeechData.h"
#include "tests/support/ScratchFolder.h"

#include <gtest/gtest.h>

namespace lumbro::speech {
namespace {

TEST(RecognizedTextTest, hypothesesBecomeReadable) {
    const std::vector<std::pair<QString, QString>> rows = {
        {u""_s, u""_s},
        {u"<sil> [NOISE] ++UH++"_s, u""_s},
        {u"<s> the(2) meeting and(3) i <sil> i'm here </s>"_s, u"The meeting and I I'm here"_s},
        {u"élan"_s, u"Élan"_s},
    };
    for (const auto& [raw, text] : rows) {
        EXPECT_EQ(readableWords(raw), text);
    }
    EXPECT_EQ(withoutSoundMarks(u" [BLANK_AUDIO]  Yes (laughs), *sighs* I do. ♪"_s), u"Yes , I do."_s);
}

TEST(RecognizedTextTest, whatTwoRunsAgreeOnStays) {
    const std::vector<std::vector<QString>> rows = {
        // agreed before, run before, this run, agreed after, shown
        {u""_s, u""_s, u"so the"_s, u""_s, u"so the"_s},
        {u""_s, u"so the"_s, u"so the man"_s, u"so the"_s, u"so the man"_s},
        {u"so the"_s, u"so the man"_s, u"so they can"_s, u"so the"_s, u"so the can"_s},
        {u"so the"_s, u"so the man"_s, u"so"_s, u"so the"_s, u"so the"_s},
        {u"so the"_s, u"so the man can"_s, u"so the man may"_s, u"so the man"_s, u"so the man may"_s},
    };
    const auto words = [](const QString& text) { return text.split(u' ', Qt::SkipEmptyParts); };
    for (const auto& row : rows) {
        QStringList shown;
        EXPECT_EQ(agreedWords(words(row[0]), words(row[1]), words(row[2]), shown), words(row[3]));
        EXPECT_EQ(shown, words(row[4]));
    }
}

TEST(WordErrorsTest, wordsAreCountedAsPeopleDo) {
    const auto errors = [](const QString& a, const QString& b) { return test::wordErrors(a, b).errors; };
    EXPECT_EQ(errors(u"the cat sat"_s, u"The cat, sat."_s), 0);
    EXPECT_EQ(errors(u"the cat sat"_s, u"a cat sat down"_s), 2);
    EXPECT_EQ(errors(u"the cat sat"_s, u""_s), 3);
    EXPECT_EQ(test::alignWords({u"a"_s, u"b"_s, u"c"_s}, {u"a"_s, u"x"_s, u"c"_s}),
              std::vector<int>({0, -1, 2}));
}

TEST(WhisperFileTest, onlyWholeModelFilesAreRead) {
    const QString model = test::testModel(u"for-tests-ggml-tiny.en.bin"_s);
    if (model.isEmpty()) {
        GTEST_SKIP() << "the test model is not on this machine";
    }
    const QByteArray whole = readFile(model).value_or(QByteArray());
    const auto info = readWhisperFile(model);
    ASSERT_TRUE(info);
    EXPECT_FALSE(info->isMultilingual);
    const test::ScratchFolder folder;
    const auto reads = [&](const QByteArray& bytes) {
        folder.write(u"model.bin"_s, bytes);
        return readWhisperFile(folder.path(u"model.bin"_s)).has_value();
    };
    EXPECT_TRUE(reads(whole));
    for (const qsizetype length : {0, 3, 4, 40, 50, 1000, 64000, 500000, 586835}) {
        EXPECT_FALSE(reads(whole.first(length))) << length;
    }
    for (qsizetype at = 4; at < 56; at += 4) {
        QByteArray huge = whole;
        huge.replace(at, 4, QByteArray("\xff\xff\xff\x7f", 4));
        EXPECT_FALSE(reads(huge)) << at;
    }
    EXPECT_FALSE(reads(whole + QByteArray(100, '\xff')));
    EXPECT_FALSE(readWhisperFile(folder.path()));
    EXPECT_FALSE(readWhisperFile(u"/dev/zero"_s));
    EXPECT_FALSE(isVoiceModelFile(model));
}

}  // namespace
}  // namespace lumbro::speech
