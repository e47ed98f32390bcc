#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"
#include "cli/CaptureJson.h"
#include "tests/support/ScratchFolder.h"

#include <QJsonArray>

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::cli;

TEST(CaptureJson, writesEntriesAsTheEncoderWould) {
    CaptureSummary full;
    full.record.folder = u"/x/2026-03-02-0914-meeting"_s;
    full.words = 7;
    full.handoffs = {u"notes"_s, u"follow \"up\""_s};
    CaptureMeta& meta = full.record.meta;
    const QDateTime date(QDate(2026, 3, 2), QTime(9, 14, 5));
    meta.title = u"Tab\there \u2014 and\nthere"_s;
    meta.startedAt = date;
    meta.endedAt = meta.memorizedAt = meta.sessionCursor = date.addSecs(1800);
    meta.sources = {u"mic"_s};
    meta.attendees = QStringList{};
    meta.attendeeEmails = QStringList{u"a@b.c"_s, u"d@e.f"_s};
    meta.eventID = meta.sessionKey = meta.callApp = meta.callAppBundleID = u"x"_s;
    CaptureSummary bare;
    bare.record.folder = u"/x/other"_s;
    bare.record.meta.startedAt = date;
    for (const CaptureSummary& summary : {full, bare}) {
        EXPECT_EQ("[\n  " + captureEntry(summary) + "\n]", json::encode(QJsonArray{captureJson(summary)}));
    }
}

TEST(CaptureJson, writesTheListAsTheArrayOfItsEntries) {
    const test::ScratchFolder folder;
    for (const QString& id : {u"a"_s, u"b"_s, u"c"_s}) {
        folder.write(
            u"captures/%1/meta.json"_s.arg(id),
            R"({"title":"T","kind":"meeting","startedAt":"2026-03-02T13:30:00Z","sources":["mic"]})");
    }
    const CaptureList list(folder.path(u"captures"_s));
    ASSERT_EQ(list.size(), 3);
    for (qsizetype count = 0; count <= list.size(); ++count) {
        QJsonArray array;
        for (const CaptureSummary& summary : list.summaries(count)) {
            array += captureJson(summary);
        }
        EXPECT_EQ(captureListJson(list, count), json::encode(array));
    }
}
