// A calendar of 5,000 files, 500 of them recurring: the agenda and the free times while nothing changes, and
// the agenda of a fresh process against khal's list of the same days.
//
// Makes the calendar in a temporary home.

#include "LumbroCore/Literals.h"
#include "actions/CalendarExport.h"
#include "benchmarks/calendar/CalendarMaker.h"
#include "benchmarks/library/Measured.h"
#include "platform/linux/desktop/VdirCalendar.h"

#include <QCoreApplication>
#include <QCoroTask>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>
#include <ctime>

using namespace lumbro;

namespace {

constexpr int warmTries = 200;
constexpr int coldTries = 9;
const QDateTime& now() {
    static const QDateTime friday(QDate(2026, 3, 27), QTime(9, 10));
    return friday;
}

template <typename Work>
std::vector<double> timed(int tries, const Work& work) {
    std::vector<double> times;
    for (int i = 0; i < tries; ++i) {
        QElapsedTimer timer;
        timer.start();
        work();
        times.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    return times;
}

void warmRows(const QString& home) {
    Settings settings(home + u"/settings.ini"_s);
    settings.set(u"calendarFolder"_s, home + u"/.calendars"_s);
    SystemClock clock;
    VdirCalendar calendar(settings, clock);
    const QDateTime to = now().date().addDays(2).startOfDay();
    qsizetype found = 0;
    const auto agenda = [&] { found = QCoro::waitFor(calendar.events(now(), to)).size(); };
    const auto free = [&] {
        found = QCoro::waitFor(calendarExport::freeTimes(&calendar, 5, 30, now())).size();
    };
    agenda();
    const auto warm = timed(warmTries, agenda);
    bench::printRow(u"agenda of a calendar of 5,000 items, nothing changed"_s, bench::percentile(warm, 0.95),
                    u"ms"_s, 5.0, u"p95 of %1; %2 events"_s.arg(warmTries).arg(found));
    const auto times = timed(warmTries, free);
    bench::printRow(u"free times of five days from it, nothing changed"_s, bench::percentile(times, 0.95),
                    u"ms"_s, 5.0, u"p95 of %1; %2 times"_s.arg(warmTries).arg(found));
    VdirFiles files;
    const qint64 from = now().toSecsSinceEpoch();
    const auto first =
        timed(1, [&] { files.events(settings.string(u"calendarFolder"_s), {}, from, from + 86400); });
    const auto look =
        timed(20, [&] { files.events(settings.string(u"calendarFolder"_s), {}, from, from + 86400); });
    bench::printRow(u"a look at all of its files, every ten seconds at most"_s, bench::percentile(look, 0.5),
                    u"ms"_s, {},
                    u"on a thread of its own; the first one %1 ms"_s.arg(first.front(), 0, 'f', 1));
    bench::printRow(u"memory of a process that holds it"_s, bench::resident(), u"MB"_s, {});
}

bool writeKhalSettings(const QString& home) {
    QFile file(home + u"/khal.conf"_s);
    const QString text =
        u"[calendars]\n[[all]]\npath = %1/.calendars/*\ntype = discover\n[locale]\n"
        "local_timezone = Europe/Berlin\ndefault_timezone = Europe/Berlin\ntimeformat = %H:%M\n"
        "dateformat = %Y-%m-%d\nlongdateformat = %Y-%m-%d\ndatetimeformat = %Y-%m-%d %H:%M\n"
        "longdatetimeformat = %Y-%m-%d %H:%M\n[sqlite]\npath = %1/khal.db\n"_s;
    return file.open(QIODevice::WriteOnly) && file.write(QString(text).replace(u"%1"_s, home).toUtf8()) > 0;
}

bool coldRows(const QString& home) {
    const QString lumbro = QCoreApplication::applicationDirPath() + u"/../lumbro"_s;
    const QStringList khal{u"-c"_s, home + u"/khal.conf"_s, u"list"_s, u"2026-03-27"_s, u"2026-03-28"_s};
    const auto index = writeKhalSettings(home) ? bench::measured(u"khal"_s, khal) : std::nullopt;
    if (!index) {
        return false;
    }
    std::vector<double> ours;
    std::vector<double> theirs;
    std::vector<double> peaks;
    // By turns, so that both meet the same machine.
    for (int i = 0; i < coldTries; ++i) {
        const auto our = bench::measured(lumbro, {u"agenda"_s, u"--json"_s});
        const auto their = bench::measured(u"khal"_s, khal);
        if (!our || !their || our->output.size() < 100) {
            return false;
        }
        ours.push_back(our->milliseconds);
        theirs.push_back(their->milliseconds);
        peaks.push_back(our->peak);
    }
    const double our = bench::percentile(ours, 0.5);
    const double their = bench::percentile(theirs, 0.5);
    bench::printRow(u"agenda of a fresh process against khal list"_s, our / their, u"times"_s, 0.3,
                    u"%1 ms against %2 ms, whose index was made before in %3 s"_s.arg(our, 0, 'f', 1)
                        .arg(their, 0, 'f', 1)
                        .arg(index->milliseconds / 1000, 0, 'f', 1));
    bench::printRow(u"agenda of a fresh process, memory"_s, bench::percentile(peaks, 0.5), u"MB"_s, {});
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const QTemporaryDir scratch;
    const QString home = scratch.path();
    qputenv("HOME", QFile::encodeName(home));
    qputenv("TZ", "Europe/Berlin");
    qputenv("LUMBRO_NOW", "2026-03-27T09:10:00");
    for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME", "QUILLET_ROOT"}) {
        qunsetenv(name);
    }
    tzset();
    const QCoreApplication application(argc, argv);
    const QString root = home + u"/.calendars"_s;
    if (!bench::makeCalendar(root.toStdString(), {})) {
        std::fprintf(stderr, "The calendar could not be made in %s.\n", qUtf8Printable(root));
        return 1;
    }
    // What changed a moment ago may change again without showing it.
    QElapsedTimer rest;
    rest.start();
    if (!coldRows(home)) {
        std::fprintf(stderr, "Measuring against khal failed.\n");
        return 1;
    }
    while (rest.elapsed() < 3000) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    }
    warmRows(home);
    return 0;
}
