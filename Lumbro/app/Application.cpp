#include "app/Application.h"

#include "LumbroCore/AppLog.h"
#include "app/AppDelegate.h"
#include "app/QuitSignals.h"
#include "app/Services.h"
#include "app/SingleInstance.h"
#include "library/ContextLibrary.h"

#include <QCoreApplication>

#include <cstdio>

namespace lumbro {

namespace {

void say(const QString& sentence) {
    std::fputs(qPrintable(sentence + u'\n'), stderr);
}

}  // namespace

int runApplication(Services& services) {
    SingleInstance instance(services.library().root());
    if (const Result<> only = instance.acquire(); !only) {
        say(only.error().message);
        return 1;
    }
    AppDelegate delegate(services);
    const QuitSignals quitSignals;
    QObject::connect(&quitSignals, &QuitSignals::quitRequested, &delegate, &AppDelegate::terminate);
    QObject::connect(&delegate, &AppDelegate::terminationDelayed, &delegate, say);
    // Queued, so that a quit that comes before the loop runs is not lost.
    QObject::connect(&delegate, &AppDelegate::readyToTerminate, qApp, &QCoreApplication::quit,
                     Qt::QueuedConnection);
    delegate.applicationDidFinishLaunching();
    const int status = QCoreApplication::exec();
    AppLog::info(u"startup"_s, u"ended"_s);
    AppLog::flush();
    return status;
}

}  // namespace lumbro
