#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"

#include <QJsonDocument>

#include <gtest/gtest.h>

using namespace lumbro;

TEST(Json, isPrettySortedAndShort) {
    const QJsonObject value{
        {u"b"_s, QJsonArray{1, 0.1, QJsonArray()}}, {u"a"_s, u"é/\"\n\x01"_s}, {u"c"_s, QJsonObject()}};
    EXPECT_EQ(
        json::encode(value).toStdString(),
        "{\n  \"a\": \"é/\\\"\\n\\u0001\",\n  \"b\": [\n    1,\n    0.1,\n    []\n  ],\n  \"c\": {}\n}");
    EXPECT_EQ(QJsonDocument::fromJson(json::encode(value)).object(), value);
    const QJsonObject marked{{u"a"_s, u"\ufeffPlan"_s}};
    EXPECT_EQ(QJsonDocument::fromJson(json::encode(marked)).object(), marked);
}

TEST(Json, readersGiveTheEmptyValueForAnyBytes) {
    for (const char* bytes : {"", "{", "[1", "null", "\xff\xfe", "{\"a\":1}x"}) {
        EXPECT_TRUE(json::object(bytes).isEmpty()) << bytes;
        EXPECT_TRUE(json::array(bytes).isEmpty()) << bytes;
    }
    EXPECT_TRUE(json::object("[1]").isEmpty());
}
