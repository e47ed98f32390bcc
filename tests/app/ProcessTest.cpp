#include "app/QuitSignals.h"
#include "app/SingleInstance.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/Wait.h"

#include <csignal>

#include <gtest/gtest.h>
#include <unistd.h>

namespace lumbro {

namespace {

TEST(QuitSignalsTest, aSignalArrivesInTheEventLoop) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        const QuitSignals quit;
        int asked = 0;
        QObject::connect(&quit, &QuitSignals::quitRequested, [&asked] { ++asked; });
        ::kill(::getpid(), number);
        EXPECT_TRUE(test::eventually([&asked] { return asked == 1; })) << number;
    }
}

TEST(SingleInstanceTest, oneApplicationServesALibrary) {
    const test::ScratchFolder scratch;
    qputenv("XDG_RUNTIME_DIR", scratch.path().toUtf8());
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
    QDir(scratch.path()).mkdir(u"library"_s);
    QDir(scratch.path()).mkdir(u"other"_s);
    QFile::link(scratch.path(u"library"_s), scratch.path(u"link"_s));
    {
        SingleInstance first(scratch.path(u"library"_s));
        EXPECT_TRUE(first.acquire());
        for (const QString& spelling : {u"library"_s, u"library/"_s, u"other/../library"_s, u"link"_s}) {
            SingleInstance second(scratch.path(spelling));
            const Result<> result = second.acquire();
            ASSERT_FALSE(result) << spelling.toStdString();
            EXPECT_EQ(result.error().message,
                      u"Lumbro is already running for the library %1."_s.arg(scratch.path(spelling)));
        }
        SingleInstance other(scratch.path(u"other"_s));
        EXPECT_TRUE(other.acquire());
    }
    SingleInstance next(scratch.path(u"library"_s));
    EXPECT_TRUE(next.acquire()) << "the lock goes with its holder";
}

TEST(SingleInstanceTest, withoutAPlaceForTheLockTheApplicationStillStarts) {
    const test::ScratchFolder scratch;
    qputenv("XDG_RUNTIME_DIR", scratch.path(u"gone"_s).toUtf8());
    qputenv("TMPDIR", scratch.path(u"gone"_s).toUtf8());
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent");
    SingleInstance instance(scratch.path(u"library"_s));
    EXPECT_TRUE(instance.acquire());
    qunsetenv("TMPDIR");
}

}  // namespace

}  // namespace lumbro
