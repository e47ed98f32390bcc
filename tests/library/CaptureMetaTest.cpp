#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"
#include "library/formats/CaptureMeta.h"
#include "library/formats/FlatJson.h"

#include <gtest/gtest.h>

using namespace lumbro;

namespace {

// A good meta with `more` before its end.
QByteArray with(const QByteArray& more) {
    return R"({"title":"T","kind":"meeting","startedAt":"2026-03-02T13:30:00Z","sources":["mic"])" + more;
}

}  // namespace

TEST(CaptureMeta, isReadFromBytesAsFromTheTree) {
    const struct {
        QByteArray bytes;
        bool isFlat;
        bool isMeta;
    } rows[] = {
        {with("}"), true, true},
        {with(" , \"callApp\" : \"Zoom\" ,\r\n\t\"attendees\" : [ \"A\" , \"B\" ] } \n"), true, true},
        {with(",\"attendees\":[],\"eventID\":\"\",\"endedAt\":\"2026-03-02T14:00:00.250+02:00\"}"), true,
         true},
        {with(",\"callApp\":\"Gr\u00f6\u00dfe \U0001F600 \xef\xbf\xbe\x7f\"}"), true, true},
        {with(",\"unknown\":\"x\",\"\":[\"y\"]}"), true, true},
        {with(",\"callApp\":[]}"), true, false},
        {with(",\"attendees\":\"A\"}"), true, false},
        {with(",\"words\": 1206 ,\"n\":0}"), true, true},
        {with(",\"callApp\":7}"), true, false},
        {with(",\"words\":012}"), false, false},
        {with(",\"words\":-1.5e3}"), false, true},
        {with(",\"endedAt\":\"yesterday\"}"), true, false},
        {with(",\"endedAt\":\"\"}"), true, false},
        {R"({"title":"T","kind":"party","startedAt":"2026-03-02T13:30:00Z","sources":[]})", true, false},
        {R"({"title":"T"})", true, false},
        {with(",\"callApp\":\"a \\\"b\\\" \\u00e9 \\ud83d\"}"), false, true},
        {with(",\"callApp\\u0020\":\"x\"}"), false, true},
        {with(",\"callApp\":\"\xef\xbb\xbfx\"}"), false, true},
        {with(",\"callApp\":\"tab\there\"}"), false, true},
        {with(",\"title\":\"later\"}"), false, true},
        {with(",\"sources\":1}"), false, false},
        {with(",\"unknown\":{\"a\":[{\"b\":1e99}]},\"n\":12345678901234567890}"), false, true},
        {with(",\"callApp\":null,\"attendees\":null,\"endedAt\":null}"), false, true},
        {with(",\"attendees\":[\"A\",1]}"), false, false},
        {with(",\"attendees\":[\"A\",null]}"), false, false},
        {"\xef\xbb\xbf" + with("}"), false, true},
        {with("}x"), false, false},
        {with("}}"), false, false},
        {with(",}"), false, false},
        {with(""), false, false},
        {with(",\"callApp\":\"x"), false, false},
        {with(",\"attendees\":[\"A\",]}"), false, false},
        {with(",\"callApp\":\"\xff\"}"), false, false},
        {with(",\"callApp\":\"\xed\xa0\x80\"}"), false, false},
        {with(QByteArray("}\0", 2)), false, false},
        {with(QByteArray(",\"callApp\":\"a\0b\"}", 17)), false, true},
        {"[" + with("}") + "]", false, false},
        {"{}", false, false},
        {"", false, false},
    };
    for (const auto& row : rows) {
        const auto meta = CaptureMeta::fromBytes(row.bytes);
        EXPECT_EQ(meta, CaptureMeta::fromJson(json::object(row.bytes))) << row.bytes.constData();
        EXPECT_EQ(meta.has_value(), row.isMeta) << row.bytes.constData();
        EXPECT_EQ(FlatJson::parse(row.bytes).has_value(), row.isFlat) << row.bytes.constData();
    }
}

TEST(CaptureMeta, readsEveryKeyOfAFullFile) {
    CaptureMeta meta;
    const QDateTime date(QDate(2026, 3, 2), QTime(14, 30));
    meta.title = u"T \u2014 x"_s;
    meta.kind = CaptureKind::session;
    meta.startedAt = date;
    meta.endedAt = date.addSecs(1);
    meta.memorizedAt = date.addSecs(2);
    meta.sessionCursor = date.addSecs(3);
    meta.sources = {u"mic"_s, u"system"_s};
    meta.attendees = QStringList{u"A"_s};
    meta.attendeeEmails = QStringList{u"a@b.c"_s};
    meta.eventID = u"1"_s;
    meta.sessionKey = u"2"_s;
    meta.callApp = u"3"_s;
    meta.callAppBundleID = u"4"_s;
    const QByteArray bytes = json::encode(meta.toJson());
    ASSERT_TRUE(FlatJson::parse(bytes));
    EXPECT_EQ(CaptureMeta::fromBytes(bytes), meta);
    EXPECT_FALSE(FlatJson::parse(QByteArray("{") + [] {
        QByteArray many;
        for (int i = 0; i < 100; ++i) {
            many += '"' + QByteArray::number(i) + "\":\"\",";
        }
        return many;
    }() + "\"x\":\"\"}"));
}
