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

TEST(Settings, refuseUnknownKeysAndValuesOfAnotherType) {
    const test::ScratchFolder folder;
    Settings settings(folder.path(u"s.ini"_s));
    EXPECT_EQ(settings.setFromText(u"nonsense"_s, u"1"_s).error().kind, FailureKind::notFound);
    EXPECT_FALSE(settings.setFromText(u"dailyIdeasMinute"_s, u"soon"_s));
    EXPECT_EQ(settings.integer(u"dailyIdeasMinute"_s), 1020);
}

TEST(Settings, aFileThatCannotBeReadIsKeptAndCountsAsEmpty) {
    const test::ScratchFolder folder;
    const QByteArray broken = "[General\nslideName=x\n\x00\xff=\n";
    folder.write(u"s.ini"_s, broken);
    Settings settings(folder.path(u"s.ini"_s));
    EXPECT_EQ(settings.string(u"slideGround"_s), u"black"_s);
    settings.set(u"slideGround"_s, u"white"_s);
    EXPECT_EQ(folder.read(u"s.ini.broken"_s), broken);
}
