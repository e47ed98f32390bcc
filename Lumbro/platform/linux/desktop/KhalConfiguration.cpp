#include "platform/linux/desktop/KhalConfiguration.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"

#include <QHash>
#include <QStandardPaths>

namespace lumbro {

namespace {

constexpr qint64 mostBytes = qint64(256) * 1024;

/// A value or a section's name, out of its quotes or without the remark behind it.
QString plain(const QString& text) {
    const QString bare = text.trimmed();
    for (const QChar quote : {u'"', u'\''}) {
        const qsizetype end = bare.startsWith(quote) ? bare.indexOf(quote, 1) : -1;
        if (end > 0) {
            return bare.mid(1, end - 1);
        }
    }
    return bare.section(u'#', 0, 0).trimmed();
}

}  // namespace

KhalConfiguration KhalConfiguration::read(const QByteArray& bytes) {
    KhalConfiguration found;
    QHash<QString, QString> paths;
    QString section;
    QString calendar;
    for (const QByteArray& each : bytes.first(std::min<qsizetype>(bytes.size(), mostBytes)).split('\n')) {
        const QString line = QString::fromUtf8(each).trimmed();
        if (line.startsWith(u"[[") && line.contains(u"]]")) {
            calendar = plain(line.mid(2, line.lastIndexOf(u"]]") - 2));
        } else if (line.startsWith(u'[') && line.contains(u']')) {
            section = plain(line.mid(1, line.lastIndexOf(u']') - 1));
            calendar.clear();
        } else if (const qsizetype equals = line.indexOf(u'='); equals > 0 && !line.startsWith(u'#')) {
            const QString key = line.first(equals).trimmed();
            const QString value = plain(line.sliced(equals + 1));
            if (section == u"default" && calendar.isEmpty() && key == u"default_calendar") {
                found.defaultCalendar = value;
            } else if (section == u"calendars" && key == u"path") {
                paths.insert(calendar, value);
            }
        }
    }
    found.path = found.defaultCalendar.isEmpty() ? QString() : paths.value(found.defaultCalendar);
    return found;
}

KhalConfiguration KhalConfiguration::ofUser() {
    const QString path =
        QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u"/khal/config"_s;
    return read(readFile(path, mostBytes).value_or(QByteArray()));
}

}  // namespace lumbro
