#include "LumbroCore/AppLog.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <csignal>

#include <gtest/gtest.h>
#include <sys/stat.h>

/// Every test program runs with an empty home of its own, so that no test sees or touches the user's files.
int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    umask(077);
    std::signal(SIGPIPE, SIG_IGN);
    const QTemporaryDir home;
    qputenv("HOME", home.path().toUtf8());
    for (const char* name :
         {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "QUILLET_ROOT", "LUMBRO_NOW"}) {
        qunsetenv(name);
    }
    qputenv("TZ", "Europe/Berlin");
    const QCoreApplication application(argc, argv);
    const int status = RUN_ALL_TESTS();
    lumbro::AppLog::flush();
    return status;
}
