#include "platform/linux/desktop/CalendarModule.h"

#include "LumbroCore/AppLog.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QLibrary>

#include <algorithm>

namespace lumbro::calendarModule {

QStringList places() {
    const QString program = QCoreApplication::applicationDirPath();
    QStringList paths;
    for (const QString& folder :
         {u""_s, u"/../" LUMBRO_MODULE_FOLDER ""_s, u"/../../" LUMBRO_MODULE_FOLDER ""_s}) {
        paths.append(QDir::cleanPath(program + folder + u"/lumbro-eds.so"_s));
    }
    return paths;
}

QString orFolder() {
    return u", or keep calendars as files: `lumbro settings set calendarSource folder`."_s;
}

Result<std::unique_ptr<CalendarService>> load(const QStringList& paths) {
    const auto there =
        std::ranges::find_if(paths, [](const QString& path) { return QFileInfo::exists(path); });
    if (there == paths.end()) {
        return fail(FailureKind::notInstalled,
                    u"This build of Lumbro can't reach Evolution's calendars; install the package "
                    "libecal2.0-dev and build Lumbro again"_s +
                        orFolder());
    }
    QLibrary module(*there);
    // GLib's types can't be taken back.
    module.setLoadHints(QLibrary::PreventUnloadHint);
    if (!module.load()) {
        AppLog::error(u"calendar"_s, module.errorString());
        return fail(FailureKind::notInstalled,
                    u"Evolution's calendars need Evolution Data Server; install the package "
                    "evolution-data-server"_s +
                        orFolder());
    }
    const auto make = reinterpret_cast<MakeCalendarService>(module.resolve("lumbroCalendarService"));
    std::unique_ptr<CalendarService> service(make == nullptr ? nullptr : make(CalendarService::version));
    if (!service) {
        return fail(
            u"The module %1 belongs to another version of Lumbro; install Lumbro again"_s.arg(*there) +
            orFolder());
    }
    return service;
}

}  // namespace lumbro::calendarModule
