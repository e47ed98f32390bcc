#include "platform/linux/desktop/KhalConfiguration.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QRegularExpression>
#include <QStandardPaths>

#include <algorithm>
#include <array>

#include <pwd.h>

namespace lumbro {

namespace {

constexpr qint64 mostBytes = qint64(256) * 1024;

/// A value or a section's name, out of its quotes or without the remark behind it.
QString plain(const QString& text) {
    const QString bare = text.trimmed();
    for (const QString& quote : {u"\"\"\""_s, u"'''"_s, u"\""_s, u"'"_s}) {
        const qsizetype end = bare.startsWith(quote) ? bare.indexOf(quote, quote.size()) : -1;
        if (end > 0) {
            return bare.mid(quote.size(), end - quote.size());
        }
    }
    return bare.section(u'#', 0, 0).trimmed();
}

/// Empty where there is no such user.
QString homeOf(const QString& user) {
    std::array<char, 16384> room{};
    passwd entry{};
    passwd* found = nullptr;
    getpwnam_r(user.toUtf8().constData(), &entry, room.data(), room.size(), &found);
    return found == nullptr ? QString() : QFile::decodeName(found->pw_dir);
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

QString KhalConfiguration::folder() const {
    static const QRegularExpression variable(uR"(\$(?:\{([^}]*)\}|([A-Za-z0-9_]+)))"_s);
    QString whole;
    qsizetype done = 0;
    for (const auto& match : variable.globalMatch(path)) {
        const QByteArray name = (match.captured(1) + match.captured(2)).toUtf8();
        const bool isSet = qEnvironmentVariableIsSet(name.constData());
        whole += path.mid(done, match.capturedStart() - done);
        whole += isSet ? qEnvironmentVariable(name.constData()) : match.captured();
        done = match.capturedEnd();
    }
    whole += path.mid(done);
    const QString user = whole.startsWith(u'~') ? whole.section(u'/', 0, 0) : QString();
    if (user == u"~") {
        return whole.replace(0, 1, QDir::homePath());
    }
    const QString home = user.isEmpty() ? QString() : homeOf(user.mid(1));
    return home.isEmpty() ? whole : whole.replace(0, user.size(), home);
}

KhalConfiguration KhalConfiguration::ofUser() {
    const QString path =
        QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) + u"/khal/config"_s;
    return read(readFile(path, mostBytes).value_or(QByteArray()));
}

}  // namespace lumbro
