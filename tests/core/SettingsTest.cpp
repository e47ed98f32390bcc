#include "LumbroCore/Settings.h"
#include "tests/support/ScratchFolder.h"

#include <gtest/gtest.h>

using namespace lumbro;

TEST(Settings, areReadBackByAnotherObjectAndOnlyByTheUser) {
    const test::ScratchFolder folder;
    const QString path = folder.path(u"Lumbro/Lumbro.ini"_s);
    Settings settings(path);
    EXPECT_TRUE(settings.boolean(u"offerCallCapture"_s));
    ASSERT_TRUE(settings.setFromText(u"offerCallCapture"_s, u"off"_s));
    ASSERT_TRUE(settings.setFromText(u"slideName"_s, u"Ana, \"Ltd\"; ü"_s));
    const Settings again(path);
    EXPECT_FALSE(again.boolean(u"offerCallCapture"_s));
    EXPECT_EQ(again.string(u"slideName"_s), u"Ana, \"Ltd\"; ü"_s);
    EXPECT_EQ(QFile::permissions(path) & (QFile::ReadGroup | QFile::ReadOther), QFile::Permissions());
}

TEST(Settings, refuseUnknownKeysAndValuesThatTheyDoNotTake) {
    const test::ScratchFolder folder;
    Settings settings(folder.path(u"s.ini"_s));
    EXPECT_EQ(settings.setFromText(u"nonsense"_s, u"1"_s).error().kind, FailureKind::notFound);
    const struct {
        QString name;
        QString text;
        QString says;
    } rows[] = {
        {u"dailyIdeasMinute"_s, u"soon"_s,
         u"dailyIdeasMinute takes a whole number from 0 to 1439, not \"soon\"."_s},
        {u"dailyIdeasMinute"_s, u"1440"_s, u"takes a whole number from 0 to 1439"_s},
        {u"promiseRemindersMinute"_s, u"-1"_s, u"takes a whole number from 0 to 1439"_s},
        {u"aiProvider"_s, u"Codex"_s, u"aiProvider takes claude or codex, not \"Codex\"."_s},
        {u"slideStyle"_s, u""_s, u"takes tweet or bold"_s},
        {u"onboarded"_s, u"maybe"_s, u"takes true or false"_s},
        {u"customCommand"_s, u"say 'hello"_s, u"quotes are closed"_s},
        {u"customCommand"_s, u"say \\"_s, u"quotes are closed"_s},
        {u"speechMirror"_s, u"foo bar"_s, u"takes an address that begins with https://"_s},
        {u"speechMirror"_s, u"ftp://here/"_s, u"takes an address that begins with https://"_s},
    };
    for (const auto& row : rows) {
        const QVariant before = settings.value(row.name);
        const Result<> set = settings.setFromText(row.name, row.text);
        ASSERT_FALSE(set) << row.text.toStdString();
        EXPECT_TRUE(set.error().message.contains(row.says)) << set.error().message.toStdString();
        EXPECT_EQ(settings.value(row.name), before);
        settings.set(row.name, row.text);
        EXPECT_TRUE(row.name == u"customCommand" || row.name == u"speechMirror" ||
                    settings.value(row.name) == before)
            << row.text.toStdString();
        settings.set(row.name, {});
    }
    for (const char* good : {"0", "1439"}) {
        EXPECT_TRUE(settings.setFromText(u"dailyIdeasMinute"_s, QString::fromLatin1(good)));
    }
    EXPECT_TRUE(settings.setFromText(u"speechMirror"_s, u"http://127.0.0.1:8000/models"_s));
    EXPECT_TRUE(settings.setFromText(u"customCommand"_s, u"say 'it is' a,b"_s));
    EXPECT_EQ(settings.string(u"customCommand"_s), u"say 'it is' a,b"_s);
}

TEST(Settings, keepTheCommasOfAValueWrittenByHand) {
    const test::ScratchFolder folder;
    folder.write(u"s.ini"_s, "[General]\nslideName=Ana  Pol, Ltd,Co\ncustomCommand=\"a\", b\n");
    const Settings settings(folder.path(u"s.ini"_s));
    EXPECT_EQ(settings.string(u"slideName"_s), u"Ana  Pol, Ltd,Co"_s);
    EXPECT_EQ(settings.string(u"customCommand"_s), u"a, b"_s);
}

TEST(Settings, keepACopyOfAFileThatTheyCannotReadWhole) {
    const QByteArrayList rows{QByteArray("[General\nslideName=x\n\x00\xff=\n", 25),
                              "[General]\nslideName=\xff\n",
                              QByteArray("\x7f"
                                         "ELF=\0\1\2\n",
                                         9),
                              "[General]\nno equals sign\n"};
    for (const QByteArray& broken : rows) {
        const test::ScratchFolder folder;
        folder.write(u"s.ini"_s, broken);
        folder.write(u"s.ini.broken"_s, "an earlier one");
        Settings settings(folder.path(u"s.ini"_s));
        EXPECT_EQ(settings.string(u"slideGround"_s), u"black"_s);
        EXPECT_TRUE(settings.setFromText(u"slideGround"_s, u"white"_s));
        EXPECT_TRUE(settings.setFromText(u"slideHandle"_s, u"x"_s));
        EXPECT_EQ(folder.read(u"s.ini.broken"_s), "an earlier one");
        EXPECT_EQ(folder.read(u"s.ini.broken-2"_s), broken);
        EXPECT_FALSE(folder.has(u"s.ini.broken-3"_s));
        EXPECT_EQ(Settings(folder.path(u"s.ini"_s)).string(u"slideGround"_s), u"white"_s);
    }
}
