#include "LibraryFixture.h"
#include "library/CaptureList.h"
#include "library/CaptureScan.h"

#include <sys/stat.h>

using namespace lumbro;

namespace {

class CaptureScanTest : public test::LibraryTest {};

}  // namespace

TEST_F(CaptureScanTest, passesOverWhateverIsNoCapture) {
    put(u"good"_s, meta("meeting"));
    m_folder.write(u"elsewhere/meta.json"_s, meta("thought"));
    QFile::link(m_folder.path(u"elsewhere"_s), m_folder.path(u"captures/linked"_s));
    QFile::link(m_folder.path(u"captures/loop"_s), m_folder.path(u"captures/loop"_s));
    m_folder.write(u"captures/a-file"_s, "x");
    m_folder.write(u"captures/no-meta/notes.md"_s, "x");
    put(u"binary"_s, QByteArray("\0\xff\xfe{", 4));
    put(u"huge"_s, meta("meeting").chopped(1) + ",\"x\":\"" + QByteArray(1024 * 1024, 'y') + "\"}");
    put(u"no-sources"_s, R"({"title":"T","kind":"meeting","startedAt":"2026-03-02T13:30:00Z"})");
    m_folder.write(u"captures/fifo/x"_s, "");
    ASSERT_EQ(mkfifo(m_folder.path(u"captures/fifo/meta.json"_s).toUtf8().constData(), 0600), 0);
    m_folder.write(u"captures/folder/meta.json/x"_s, "");

    const CaptureScan scan = scanCaptures(m_library.capturesFolder());
    ASSERT_EQ(scan.records.size(), 2);
    EXPECT_EQ(scan.records[0].id(), u"linked"_s);
    EXPECT_EQ(scan.records[1].id(), u"good"_s);
    const CaptureList list(m_library.capturesFolder());
    EXPECT_EQ(list.size(), 2);
    EXPECT_EQ(list.broken(), scan.broken);
    QStringList broken;
    for (const QString& path : scan.broken) {
        broken.append(path.section(u'/', -2, -2));
    }
    EXPECT_EQ(broken,
              (QStringList{u"binary"_s, u"fifo"_s, u"folder"_s, u"huge"_s, u"loop"_s, u"no-sources"_s}));
    EXPECT_TRUE(scanCaptures(m_folder.path(u"none"_s)).records.isEmpty());
}

TEST_F(CaptureScanTest, aHiddenCaptureIsNamedOnceInTheLog) {
    put(u"no-kind"_s, R"({"title":"T"})");
    m_library.reloadCaptures();
    m_library.reloadCaptures();
    EXPECT_EQ(log().count(u"captures/no-kind/meta.json can't be read; the capture is not listed"), 1);
    EXPECT_EQ(m_folder.read(capture(u"no-kind"_s, u"meta.json"_s)), R"({"title":"T"})");
}

TEST_F(CaptureScanTest, thousandsComeInOrderFromBothThreads) {
    constexpr int count = 600;
    for (int i = 0; i < count; ++i) {
        QByteArray bytes = meta("meeting");
        const QDateTime start(QDate(2026, 1, 1), QTime(0, 0), Qt::UTC);
        bytes.replace("2026-03-02T13:30:00Z",
                      start.addSecs(i % 300 * qint64(3600)).toString(Qt::ISODate).toUtf8());
        put(u"c%1"_s.arg(i, 4, 10, QLatin1Char('0')), bytes);
    }
    const CaptureScan scan = scanCaptures(m_library.capturesFolder());
    ASSERT_EQ(scan.records.size(), count);
    for (int i = 0; i < count; i += 2) {
        const int age = 299 - i / 2;
        EXPECT_EQ(scan.records[i].id(), u"c%1"_s.arg(age + 300, 4, 10, QLatin1Char('0')));
        EXPECT_EQ(scan.records[i + 1].id(), u"c%1"_s.arg(age, 4, 10, QLatin1Char('0')));
    }
    const QList<CaptureSummary> summaries = CaptureList(m_library.capturesFolder()).summaries(count + 1);
    ASSERT_EQ(summaries.size(), count);
    for (int i = 0; i < count; ++i) {
        EXPECT_EQ(summaries[i].record, scan.records[i]);
    }
}

TEST_F(CaptureScanTest, summariesHoldWordsAndHandoffs) {
    put(u"c1"_s, meta("meeting"));
    m_library.reloadCaptures();
    const CaptureRecord record = m_library.record(u"c1"_s).value();
    EXPECT_TRUE(m_library.writeTranscript({says(Speaker::me, 0, u"one two three"_s)}, record));
    EXPECT_TRUE(m_library.writeHandoff(u"x"_s, u"notes"_s, record));
    EXPECT_TRUE(m_library.writeHandoff(u"x"_s, u"followup"_s, record));
    m_folder.write(capture(u"c1"_s, u"handoffs/slides/1.png"_s), "x");
    put(u"c2"_s, meta("thought"));
    m_folder.write(capture(u"c2"_s, u"transcript.json"_s), "[{]");

    const QList<CaptureSummary> summaries = CaptureList(m_library.capturesFolder()).summaries(9);
    ASSERT_EQ(summaries.size(), 2);
    for (const CaptureSummary& summary : {summaries[1], summarizeCapture(record)}) {
        EXPECT_EQ(summary.record, record);
        EXPECT_EQ(summary.words, 3);
        EXPECT_EQ(summary.handoffs, (QStringList{u"followup"_s, u"notes"_s}));
    }
    EXPECT_EQ(summaries[0].words, 0);
}
