#include "library/model/CaptureNaming.h"
#include "tests/model/ModelFixture.h"

namespace lumbro {

namespace {

class CaptureNamingTest : public test::ModelTest {};

TEST(CaptureTitleTest, isTheFirstLineOfTheReplyWithoutDecoration) {
    const QString fits(59, u'a');
    const std::vector<std::pair<QString, std::optional<QString>>> rows{
        {u"Weekly Sync"_s, u"Weekly Sync"_s},
        {u"**Weekly Sync.**"_s, u"Weekly Sync"_s},
        {u"\n  \n# \"Budget Review\"\nsecond line"_s, u"Budget Review"_s},
        {u"'Q3 Plan v1.2'."_s, u"Q3 Plan v1.2"_s},
        {fits, fits},
        {fits + u'a', std::nullopt},
        {u"e\u0301"_s.repeated(59), u"e\u0301"_s.repeated(59)},
        {u"e\u0301"_s.repeated(60), std::nullopt},
        {u"\"**.**\""_s, std::nullopt},
        {u" \n "_s, std::nullopt},
    };
    for (const auto& [reply, title] : rows) {
        EXPECT_EQ(CaptureNaming::titleFrom(reply), title) << reply.toStdString();
    }
}

TEST_F(CaptureNamingTest, onlyAnUnnamedCaptureWithContentIsNamed) {
    struct Row {
        QString title;
        int segments;
        QString notes;
        bool named;
    };
    const std::vector<Row> rows{
        {u"Meeting"_s, 1, {}, true},          {u"New note"_s, 0, u"milk"_s, true},
        {u"Meeting"_s, 0, u" \n\t"_s, false}, {u"Budget"_s, 1, u"milk"_s, false},
        {u"meeting"_s, 1, {}, false},
    };
    for (const Row& row : rows) {
        agent.calls.clear();
        const TranscriptSegments segments(row.segments, {QUuid::createUuid(), Speaker::me, 0, u"Hello"_s});
        model->naming().nameIfNeeded(makeCapture(row.title), segments, row.notes);
        EXPECT_EQ(agent.calls.size(), row.named ? 1U : 0U) << row.title.toStdString();
    }
}

TEST_F(CaptureNamingTest, takesTheTextsFromTheFilesAndTheFirstEightySegments) {
    CaptureRecord record = makeCapture(u"Meeting"_s);
    TranscriptSegments said;
    for (int i = 0; i < 81; ++i) {
        said.append({QUuid::createUuid(), Speaker::me, i * 60.0, u"Sentence %1."_s.arg(i)});
    }
    ASSERT_TRUE(library->writeTranscript(said, record));
    model->naming().nameIfNeeded(record);
    const AgentRequest& request = namings().at(0)->request;
    EXPECT_EQ(request.model, u"haiku"_s);
    EXPECT_TRUE(request.context.contains(u"Sentence 79."));
    EXPECT_FALSE(request.context.contains(u"Sentence 80."));
    namings().at(0)->answer(u"Long Talk"_s);
    EXPECT_EQ(library->record(record.id())->meta.title, u"Long Talk"_s);
    EXPECT_EQ(model->revision(), 1);
}

TEST_F(CaptureNamingTest, theUsersOwnTitleAndAFailedCallStay) {
    CaptureRecord record = makeCapture(u"Meeting"_s);
    model->naming().nameIfNeeded(record);
    record.meta.title = u"Mine"_s;
    library->save(record);
    namings().at(0)->answer(u"Theirs"_s);
    EXPECT_EQ(library->record(record.id())->meta.title, u"Mine"_s);

    const CaptureRecord other = makeCapture(u"Meeting"_s);
    model->naming().nameIfNeeded(other);
    namings().at(1)->answer(fail(FailureKind::timedOut, u"Too slow."_s));
    EXPECT_EQ(library->record(other.id())->meta.title, u"Meeting"_s);
    EXPECT_EQ(model->revision(), 0);
    EXPECT_EQ(mode(), PillMode(pill::Idle{})) << "a failed naming is silent";
}

TEST_F(CaptureNamingTest, aTitleThatAnotherProcessGivesMeanwhileStays) {
    CaptureRecord record = makeCapture(u"Meeting"_s);
    model->naming().nameIfNeeded(record);
    ContextLibrary other(library->root(), clock, {}, scratch.path("built-in"));
    record.meta.title = u"Mine"_s;
    other.save(record);
    namings().at(0)->answer(u"Theirs"_s);
    other.reloadCaptures();
    EXPECT_EQ(other.record(record.id())->meta.title, u"Mine"_s);
    EXPECT_EQ(library->record(record.id())->meta.title, u"Mine"_s);
}

TEST_F(CaptureNamingTest, aCancelledNamingEndsItsCallAndKeepsTheDefaultTitle) {
    const CaptureRecord record = makeCapture(u"Meeting"_s);
    model->naming().nameIfNeeded(record);
    EXPECT_FALSE(namings().at(0)->cancel->isCancelled);
    model->naming().cancelAll();
    EXPECT_TRUE(namings().at(0)->cancel->isCancelled);
    namings().at(0)->answer(u"Late"_s);
    EXPECT_EQ(library->record(record.id())->meta.title, u"Meeting"_s);
    model->naming().cancelAll();
}

TEST_F(CaptureNamingTest, aRunningRecordingKeepsTheTitleItIsGiven) {
    const CaptureRecord record = start();
    scratch.write("library/captures/" + record.id() + "/notes.md", "milk");
    model->naming().nameIfNeeded(record);
    namings().at(0)->answer(u"Shopping"_s);
    EXPECT_EQ(stop().record.meta.title, u"Shopping"_s);
    EXPECT_EQ(library->record(record.id())->meta.title, u"Shopping"_s);
}

}  // namespace

}  // namespace lumbro
