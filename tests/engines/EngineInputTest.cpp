#include "LumbroCore/Literals.h"
#include "engines/formats/EngineInput.h"
#include "tests/support/ScratchFolder.h"

#include <gtest/gtest.h>

using namespace lumbro;

namespace {

class EngineInputTest : public ::testing::Test {
  protected:
    CaptureRecord record(CaptureKind kind) const {
        CaptureRecord record{m_folder.path(), {}};
        record.meta.title = u"Plan"_s;
        record.meta.kind = kind;
        record.meta.startedAt = QDateTime(QDate(2026, 3, 2), QTime(14, 30));
        return record;
    }

    test::ScratchFolder m_folder;
};

const QString head = u"# CAPTURE: Plan (Mar 2, 2026 at 2:30 PM)\n\n## MY NOTES\n"_s;

}  // namespace

TEST_F(EngineInputTest, showsNotesAndMergedTranscript) {
    CaptureRecord call = record(CaptureKind::meeting);
    EXPECT_EQ(EngineInput::build(call, {}, u" \n"_s), head + u"(none)\n\n## TRANSCRIPT\n(empty)"_s);

    call.meta.endedAt = call.meta.startedAt.addSecs(59);
    const TranscriptSegments segments{{QUuid::createUuid(), Speaker::them, 50, u"Yes."_s},
                                      {QUuid::createUuid(), Speaker::me, 1, u"Shall"_s},
                                      {QUuid::createUuid(), Speaker::me, 4, u"we?"_s}};
    EXPECT_EQ(EngineInput::build(call, segments, u" mine\n"_s),
              u"# CAPTURE: Plan (Mar 2, 2026 at 2:30 PM · 1 min)\n\n## MY NOTES\nmine\n\n"
              "## TRANSCRIPT\n[00:00:01] Me: Shall we?\n[00:00:50] Them: Yes."_s);
    call.meta.endedAt = call.meta.startedAt.addSecs(31 * 60 + 59);
    EXPECT_TRUE(EngineInput::build(call, {}, {}).contains(u" · 31 min)"));
}

TEST_F(EngineInputTest, showsScreenTextInsteadOfAnEmptyTranscript) {
    const CaptureRecord shot = record(CaptureKind::screenshot);
    EXPECT_EQ(EngineInput::build(shot, {}, {}), head + u"(none)"_s);
    m_folder.write(u"screen.md"_s, "Total 42\n");
    EXPECT_EQ(EngineInput::build(shot, {}, {}),
              head + u"(none)\n\n## SCREEN TEXT (from a screenshot)\nTotal 42\n"_s);
}

TEST_F(EngineInputTest, showsTheEndOfALongChat) {
    const CaptureRecord chat = record(CaptureKind::session);
    const QString title = u"## CLAUDE CODE SESSIONS (my chats with an AI coding agent)\n"_s;
    EXPECT_TRUE(EngineInput::build(chat, {}, {}).endsWith(u"\n\n"_s + title));
    const QString fits = u'x' + u"👩‍💻"_s.repeated(39'999);
    for (const auto& [text, last] :
         {std::pair(fits, fits), {u"cut"_s + fits, fits}, {u"short"_s, u"short"_s}}) {
        m_folder.write(u"session.md"_s, text.toUtf8());
        const QString input = EngineInput::build(chat, {}, {});
        EXPECT_TRUE(input.sliced(input.indexOf(title) + title.size()) == last) << text.size();
    }
}

TEST_F(EngineInputTest, addsTheVoiceAndTheCalendarOnlyWhereTheyAreAskedFor) {
    Engine engine;
    engine.prompt = u"Write."_s;
    const Voice voice{u"me"_s, u"Me"_s, u"Short."_s};
    const QString end = u"\n\nOutput clean markdown only. No preamble, no closing remarks."_s;
    EXPECT_EQ(EngineInput::systemPrompt(engine, voice), u"Write."_s + end);
    engine.usesVoice = true;
    EXPECT_EQ(EngineInput::systemPrompt(engine, std::nullopt), u"Write."_s + end);
    EXPECT_EQ(EngineInput::systemPrompt(engine, voice), u"Write.\n\n# VOICE: Me\nShort."_s + end);

    const QString calendar = u"free"_s;
    EXPECT_EQ(EngineInput::extras(engine, calendar), QString());
    engine.prompt += u" Use MY FREE TIMES."_s;
    EXPECT_EQ(EngineInput::extras(engine, calendar), u"\n\nfree"_s);
    EXPECT_EQ(EngineInput::extras(engine, {}), QString());
}
