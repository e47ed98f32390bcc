#include "LumbroCore/Dates.h"

#include "LumbroCore/Literals.h"

#include <QLocale>

namespace lumbro::dates {

namespace {

const QLocale& english() {
    static const QLocale locale(QLocale::English, QLocale::UnitedStates);
    return locale;
}

}  // namespace

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
    return english().toString(date.toLocalTime().date(), u"MMM d, yyyy"_s) + u" at "_s + shortTime(date);
}

QString shortTime(const QDateTime& date) {
    return english().toString(date.toLocalTime().time(), u"h:mm AP"_s);
}

}  // namespace lumbro::dates
