#include "tests/support/Khal.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Json.h"
#include "tests/support/Program.h"

#include <QDateTime>
#include <QDir>
#include <QJsonObject>
#include <QStandardPaths>

namespace lumbro::test {

namespace {

const QString configuration =
    uR"([calendars]
[[all]]
path = %1/*
type = discover
[locale]
local_timezone = Europe/Berlin
default_timezone = Europe/Berlin
timeformat = %H:%M
dateformat = %Y-%m-%d
longdateformat = %Y-%m-%d
datetimeformat = %Y-%m-%d %H:%M
longdatetimeformat = %Y-%m-%d %H:%M
[sqlite]
path = %2/khal.db
)"_s;

}  // namespace

Khal::Khal(const QString& folder, const QString& home) : m_home(home) {
    QDir().mkpath(home + u"/.config/todoman"_s);
    QString text = configuration;
    text.replace(u"%1"_s, folder).replace(u"%2"_s, home);
    [[maybe_unused]] const auto khal = writeFileAtomically(home + u"/khal.conf"_s, text.toUtf8());
    [[maybe_unused]] const auto todoman = writeFileAtomically(
        home + u"/.config/todoman/config.py"_s,
        u"path = \"%1/*\"\ndate_format = \"%Y-%m-%d\"\n"_s.replace(u"%1"_s, folder).toUtf8());
}

bool Khal::hasKhal() {
    return !QStandardPaths::findExecutable(u"khal"_s).isEmpty();
}

bool Khal::hasTodoman() {
    return !QStandardPaths::findExecutable(u"todoman"_s).isEmpty();
}

QString Khal::output(const QStringList& command) const {
    ProgramSetting setting;
    setting.environment.insert(u"HOME"_s, m_home);
    setting.environment.insert(u"TZ"_s, u"Europe/Berlin"_s);
    setting.environment.insert(u"LC_ALL"_s, u"C.UTF-8"_s);
    for (const auto& name : {u"XDG_CONFIG_HOME"_s, u"XDG_DATA_HOME"_s, u"XDG_CACHE_HOME"_s}) {
        setting.environment.remove(name);
    }
    setting.output = m_home + u"/output"_s;
    QFile::remove(setting.output);
    Program program(command, setting);
    program.wait();
    return QString::fromUtf8(readFile(setting.output).value_or(QByteArray()));
}

QStringList Khal::events(QDate from, QDate to) const {
    const QString form = u"{start-long}|{end-long}|{title}"_s;
    // It lists an event of several days on each of them.
    QStringList lines =
        output({u"khal"_s, u"-c"_s, m_home + u"/khal.conf"_s, u"list"_s, u"--day-format"_s, u""_s,
                u"--format"_s, form, from.toString(Qt::ISODate), to.addDays(-1).toString(Qt::ISODate)})
            .split(u'\n', Qt::SkipEmptyParts);
    lines.removeDuplicates();
    lines.sort();
    return lines;
}

QStringList Khal::tasks() const {
    QStringList lines;
    const QJsonArray all = json::array(output({u"todoman"_s, u"--porcelain"_s, u"list"_s}).toUtf8());
    for (const auto& each : all) {
        const QJsonObject task = each.toObject();
        const QJsonValue due = task[u"due"_s];
        const QString day = due.isNull()
                                ? QString()
                                : QDateTime::fromSecsSinceEpoch(due.toInteger()).date().toString(Qt::ISODate);
        lines.append(task[u"list"_s].toString() + u'|' + day + u'|' + task[u"summary"_s].toString());
    }
    lines.sort();
    return lines;
}

}  // namespace lumbro::test
