#include "LibraryFixture.h"
#include "library/CaptureRename.h"

using namespace lumbro;

namespace {

class CaptureFiles : public test::LibraryTest {};

const QString id = u"2026-03-02-1430-meeting"_s;

}  // namespace

TEST_F(CaptureFiles, metaIsWrittenByteForByte) {
    CaptureRecord record = m_library.createCapture(CaptureKind::meeting, u"Über \"Q2\""_s,
                                                   {u"mic"_s, u"system"_s}, at(14, 30, 7).addMSecs(900));
    EXPECT_EQ(record.id(), id);
    EXPECT_EQ(m_folder.read(capture(id, u"meta.json"_s)).toStdString(), R"({
  "kind": "meeting",
  "sources": [
    "mic",
    "system"
  ],
  "startedAt": "2026-03-02T13:30:07Z",
  "title": "Über \"Q2\""
})");
    record.meta.endedAt = at(15, 0);
    record.meta.attendees = QStringList{u"Dana Kim"_s};
    record.meta.attendeeEmails = QStringList{};
    record.meta.eventID = u"e1"_s;
    record.meta.memorizedAt = at(15, 1);
    record.meta.sessionKey = u"k"_s;
    record.meta.sessionCursor = at(15, 2);
    record.meta.callApp = u"Zoom"_s;
    record.meta.callAppBundleID = u"us.zoom.xos"_s;
    EXPECT_TRUE(m_library.save(record));
    EXPECT_EQ(m_folder.read(capture(id, u"meta.json"_s)).toStdString(), R"({
  "attendeeEmails": [],
  "attendees": [
    "Dana Kim"
  ],
  "callApp": "Zoom",
  "callAppBundleID": "us.zoom.xos",
  "endedAt": "2026-03-02T14:00:00Z",
  "eventID": "e1",
  "kind": "meeting",
  "memorizedAt": "2026-03-02T14:01:00Z",
  "sessionCursor": "2026-03-02T14:02:00Z",
  "sessionKey": "k",
  "sources": [
    "mic",
    "system"
  ],
  "startedAt": "2026-03-02T13:30:07Z",
  "title": "Über \"Q2\""
})");
    m_library.reloadCaptures();
    EXPECT_EQ(m_library.record(id), record);
}

TEST_F(CaptureFiles, transcriptsNotesAndHandoffsReadBackAsWritten) {
    const CaptureRecord record = m_library.createCapture(CaptureKind::meeting, u"Plan"_s, {}, at(14, 30));
    EXPECT_TRUE(m_library.segments(record).isEmpty());
    EXPECT_TRUE(m_library.handoffs(record).isEmpty());
    const TranscriptSegments segments{says(Speaker::them, 2, u"Hi"_s), says(Speaker::me, 1, u"Ho"_s)};
    EXPECT_TRUE(m_library.writeTranscript(segments, record));
    EXPECT_EQ(m_library.segments(record), segments);
    EXPECT_EQ(m_folder.read(capture(id, u"transcript.md"_s)),
              "# Plan\n\n[00:00:01] Me: Ho\n[00:00:02] Them: Hi\n");

    EXPECT_TRUE(m_library.writeHandoff(u"old"_s, u"notes"_s, record));
    EXPECT_TRUE(m_library.writeHandoff(u"néw"_s, u"notes"_s, record));
    m_folder.write(capture(id, u"handoffs/bad.md"_s), "\xff");
    m_folder.write(capture(id, u"handoffs/other.txt"_s), "x");
    EXPECT_EQ(m_library.handoffs(record), (QMap<QString, QString>{{u"notes"_s, u"néw"_s}}));
    const auto mode = QFile::permissions(m_folder.path(capture(id, u"handoffs/notes.md"_s)));
    EXPECT_FALSE(mode & (QFile::ReadGroup | QFile::ReadOther));
}

TEST_F(CaptureFiles, theTranscriptsTitleFollowsTheCaptures) {
    CaptureRecord record = m_library.createCapture(CaptureKind::meeting, u"Plan"_s, {}, at(14, 30));
    const QString file = capture(id, u"transcript.md"_s);
    const QByteArray words = "\n\n[00:00:01] Me: Ho\n";
    const auto save = [&](const QString& title) {
        record.meta.title = title;
        EXPECT_TRUE(m_library.save(record));
    };
    m_folder.write(file, "# Plan" + words);
    save(u"Named"_s);
    EXPECT_EQ(m_folder.read(file), "# Named" + words);

    m_folder.write(file, "# Out of step" + words);
    EXPECT_TRUE(renameCapture(record, u" Named "_s));
    EXPECT_EQ(m_folder.read(file), "# Named" + words);

    m_folder.write(file, "My own text" + words);
    save(u"Other"_s);
    EXPECT_EQ(m_folder.read(file), "My own text" + words);
    m_folder.write(file, "# Other");
    save(u"Last"_s);
    EXPECT_EQ(m_folder.read(file), "# Last\n");
}

TEST_F(CaptureFiles, aBrokenFileReadsAsEmptyIsNamedOnceAndStays) {
    const CaptureRecord record = m_library.createCapture(CaptureKind::meeting, u"Plan"_s, {}, at(14, 30));
    m_folder.write(capture(id, u"transcript.json"_s), "[{]");
    m_folder.write(capture(id, u"notes.md"_s), "\xff");
    const auto before = log().count(u"can't be read"_s);
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(m_library.segments(record).isEmpty());
        EXPECT_EQ(m_library.notes(record), QString());
    }
    EXPECT_EQ(log().count(u"can't be read"_s), before + 2);
    EXPECT_TRUE(log().contains(u"ERROR [library] captures/"_s + id + u"/transcript.json can't be read"_s));
    EXPECT_EQ(m_folder.read(capture(id, u"transcript.json"_s)), "[{]");
}

TEST_F(CaptureFiles, aFailedWriteIsGivenBack) {
    const CaptureRecord gone{m_folder.path(u"captures/none"_s), {}};
    EXPECT_FALSE(m_library.writeTranscript({}, gone));
    const Result<> handoff = m_library.writeHandoff(u"x"_s, u"notes"_s, gone);
    ASSERT_FALSE(handoff);
    EXPECT_EQ(handoff.error().kind, FailureKind::notFound);
    EXPECT_FALSE(m_folder.has(u"captures/none"_s));
    const CaptureRecord record = m_library.createCapture(CaptureKind::meeting, u"Plan"_s, {}, at(14, 30));
    m_folder.write(capture(id, u"handoffs"_s), "in the way");
    EXPECT_FALSE(m_library.writeHandoff(u"x"_s, u"notes"_s, record));
}

TEST_F(CaptureFiles, onlyMeetingsAndThoughtsWithoutContentAreEmpty) {
    const struct {
        const char* kind;
        const char* file;
        QByteArray bytes;
        bool empty;
    } rows[] = {
        {"meeting", "x", "", true},
        {"thought", "transcript.json", transcript::encode({says(Speaker::me, 0, u"two words —"_s)}), true},
        {"thought", "transcript.json",
         transcript::encode({says(Speaker::me, 0, u"one two"_s), says(Speaker::me, 1, u"4pm"_s)}), false},
        {"meeting", "transcript.json", "broken", false},
        {"meeting", "transcript.json", "", false},
        {"meeting", "notes.md", " \n", true},
        {"meeting", "notes.md", "a", false},
        {"meeting", "notes.md", "\xff", false},
        {"meeting", "handoffs/notes.md", "", false},
        {"meeting", "handoffs/.hidden", "", false},
        {"screenshot", "x", "", false},
        {"session", "x", "", false},
        {"prep", "x", "", false},
    };
    int number = 0;
    for (const auto& row : rows) {
        const QString name = u"c%1"_s.arg(++number);
        put(name, meta(row.kind));
        m_folder.write(capture(name, QString::fromLatin1(row.file)), row.bytes);
        m_library.reloadCaptures();
        EXPECT_EQ(m_library.isEmpty(m_library.record(name).value()), row.empty) << number;
    }
}
