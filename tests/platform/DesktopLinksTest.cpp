#include "LumbroCore/Literals.h"
#include "platform/linux/desktop/DesktopLinks.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/Wait.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace lumbro;

namespace {

/// A desktop whose applications are those that a test writes.
struct DesktopLinksTest : ::testing::Test {
    DesktopLinksTest() {
        qputenv("XDG_DATA_HOME", folder.path(u"data"_s).toUtf8());
        qputenv("XDG_DATA_DIRS", folder.path(u"system"_s).toUtf8());
        qputenv("XDG_CONFIG_HOME", folder.path(u"config"_s).toUtf8());
        qputenv("PATH", folder.path(u"bin"_s).toUtf8());
        qputenv("DISPLAY", ":0");
    }

    test::ScratchFolder folder;
};

}  // namespace

TEST_F(DesktopLinksTest, anApplicationThatIsInstalledHandlesItsLinks) {
    EXPECT_FALSE(desktopLinks::hasHandler(u"slack"_s));
    folder.write(
        u"system/applications/mimeinfo.cache"_s,
        "[MIME Cache]\nx-scheme-handler/slack=slack.desktop;\nx-scheme-handler/gone=gone.desktop;\n");
    EXPECT_FALSE(desktopLinks::hasHandler(u"slack"_s)) << "its entry was left behind";
    folder.write(u"system/applications/slack.desktop"_s, "[Desktop Entry]\n");
    EXPECT_TRUE(desktopLinks::hasHandler(u"slack"_s));
    EXPECT_FALSE(desktopLinks::hasHandler(u"gone"_s));
    EXPECT_FALSE(desktopLinks::hasHandler(u"slac"_s));
    folder.write(u"config/mimeapps.list"_s,
                 "[Removed Associations]\nx-scheme-handler/linear=slack.desktop\n");
    EXPECT_FALSE(desktopLinks::hasHandler(u"linear"_s));
    folder.write(u"config/mimeapps.list"_s,
                 "[Default Applications]\nx-scheme-handler/linear=none.desktop;slack.desktop\n");
    EXPECT_TRUE(desktopLinks::hasHandler(u"linear"_s));
}

TEST_F(DesktopLinksTest, aLinkIsHandedToTheDesktopAsOneWord) {
    const QUrl url(u"https://x.test/a b?c='$(touch x)'"_s);
    EXPECT_FALSE(desktopLinks::open(url)) << "nothing opens links here";
    folder.write(u"bin/gio"_s, "#!/bin/sh\nprintf '%s\\n' \"$#\" \"$@\" > '" +
                                   folder.path(u"opened"_s).toUtf8() + ".new'\n/bin/mv '" +
                                   folder.path(u"opened"_s).toUtf8() + ".new' '" +
                                   folder.path(u"opened"_s).toUtf8() + "'\n");
    QFile::setPermissions(folder.path(u"bin/gio"_s), QFile::ReadOwner | QFile::ExeOwner);
    EXPECT_TRUE(desktopLinks::open(url));
    ASSERT_TRUE(test::eventually([this] { return folder.has(u"opened"_s); }));
    EXPECT_EQ(folder.read(u"opened"_s), "2\nopen\nhttps://x.test/a%20b?c='$(touch%20x)'\n");
    qunsetenv("DISPLAY");
    qunsetenv("WAYLAND_DISPLAY");
    EXPECT_FALSE(desktopLinks::open(url));
}
