#include "LumbroCore/AppLog.h"

#include <QCoreApplication>
#include <QTemporaryDir>

#include <csignal>

#include <gtest/gtest.h>
#include <sys/stat.h>

#if __has_feature(thread_sanitizer)
// NOLINTBEGIN(bugprone-reserved-identifier): these names are the sanitizer's.

/// Work in the background that is still under way when a test ends is left to end by itself.
extern "C" const char* __tsan_default_options() {
    return "report_thread_leaks=0";
}

/// What ThreadSanitizer cannot see: order that a library without its instrumentation keeps by locks of its
/// own. Qt grows a thread's list of posted events under a mutex, from whichever thread posts; deletes an
/// event that another thread posted once it was sent; and deletes those that are left at the end of the
/// program.
extern "C" const char* __tsan_default_suppressions() {
    return "race:QArrayData::reallocateUnaligned\n"
           "race:QCoreApplicationPrivate::sendPostedEvents\n"
           "race:QCoreApplicationPrivate::cleanupThreadData\n";
}

// NOLINTEND(bugprone-reserved-identifier)
#endif

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
    qputenv("LC_ALL", "C.UTF-8");
    const QCoreApplication application(argc, argv);
    const int status = RUN_ALL_TESTS();
    lumbro::AppLog::flush();
    return status;
}
