#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"
#include "cli/CaptureJson.h"

#include <QJsonArray>

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::cli;

TEST(CaptureJson, writesTheListAsTheArrayOfItsEntries) {
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
    for (const QList<CaptureSummary>& list : {QList<CaptureSummary>{}, {full}, {full, bare}}) {
        QJsonArray array;
        for (const CaptureSummary& summary : list) {
            array += captureJson(summary);
        }
        EXPECT_EQ(captureListJson(list), json::encode(array));
    }
}
