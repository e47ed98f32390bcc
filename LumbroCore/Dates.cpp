#include "LumbroCore/Dates.h"

#include "LumbroCore/Literals.h"

#include <QLocale>

namespace lumbro::dates {

QString iso(const QDateTime& date) {
    return date.toUTC().toString(Qt::ISODate);
}

std::optional<QDateTime> fromIso(QStringView text) {
    const QDateTime date = QDateTime::fromString(text.toString(), Qt::ISODateWithMs);
    if (!date.isValid()) {
        return std::nullopt;
    }
    return date.toLocalTime();
}

QString folderStamp(const QDateTime& date) {
    return date.toLocalTime().toString(u"yyyy-MM-dd-HHmm"_s);
}

QString day(const QDateTime& date) {
    return date.toLocalTime().toString(u"yyyy-MM-dd"_s);
}

QString logStamp(const QDateTime& date) {
    return date.toLocalTime().toString(u"yyyy-MM-dd HH:mm:ss.zzz"_s);
}

QString readable(const QDateTime& date) {
    static const QLocale english(QLocale::English, QLocale::UnitedStates);
    const QDateTime local = date.toLocalTime();
    return english.toString(local.date(), u"MMM d, yyyy"_s) + u" at "_s +
           english.toString(local.time(), u"h:mm AP"_s);
}

}  // namespace lumbro::dates
