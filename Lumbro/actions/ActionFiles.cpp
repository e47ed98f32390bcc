#include "actions/ActionFiles.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Dates.h"
#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/LockedUpdate.h"
#include "LumbroCore/Text.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <iterator>
#include <tuple>

namespace lumbro {

namespace {

constexpr qsizetype keyInName = 6;
/// Keeps names of any script below what a file system takes.
constexpr qsizetype longestApp = 40;
/// In bytes: what an end adds to a run's file.
constexpr qint64 longestResult = 16LL * 1024;
/// In seconds. A run ends after three quarters of an hour at the latest, but may have waited for others.
constexpr qint64 longestUntold = 86'400;
/// In seconds. No process takes that long to write a file.
constexpr qint64 longestWrite = 60;

}  // namespace

ActionFiles::ActionFiles(const QString& libraryRoot) : m_folder(libraryRoot + u"/actions"_s) {}

void ActionFiles::makeFolder() const {
    makePrivateFolder(m_folder);
}

QList<ActionRun> ActionFiles::readAll() const {
    return readMatching(u"*.json"_s);
}

QList<ActionRun> ActionFiles::readLike(const QString& key) const {
    return readMatching(u"*-%1*.json"_s.arg(key.first(keyInName)));
}

QList<ActionRun> ActionFiles::readMatching(const QString& pattern) const {
    QList<ActionRun> runs;
    for (const QString& name : QDir(m_folder).entryList({pattern}, QDir::Files, QDir::Name)) {
        if (auto run = read(name.chopped(5))) {
            runs << std::move(*run);
        }
    }
    sortNewestFirst(runs);
    return runs;
}

void ActionFiles::sortNewestFirst(QList<ActionRun>& runs) {
    // Files know no parts of a second, within which names tell who came later: "…", "…-2", "…-10".
    const auto rank = [](const ActionRun& run) { return std::tuple(run.started, run.id.size(), run.id); };
    std::ranges::stable_sort(runs, std::greater(), rank);
}

std::optional<ActionRun> ActionFiles::read(const QString& id) const {
    const auto bytes = readFile(path(id), ActionRun::mostBytes);
    auto run = bytes ? ActionRun::fromBytes(*bytes) : std::nullopt;
    // The id names the file that is written next, so a copy under another name must not pass for its
    // original.
    return run && run->id == id ? run : std::nullopt;
}

bool ActionFiles::isDead(const QString& id) const {
    const auto isWorkedOn = LockFile::isTaken(lockPath(id));
    const QDateTime written = QFileInfo(path(id)).lastModified();
    return isWorkedOn ? !*isWorkedOn : written.secsTo(QDateTime::currentDateTime()) > longestUntold;
}

ActionRun ActionFiles::settled(const ActionRun& run) const {
    const bool isEnded = isDead(run.id);
    // Read once nobody writes it any more: it may have been finished since.
    ActionRun found = read(run.id).value_or(run);
    if (isEnded && found.isLive()) {
        found.neverStarted = found.status == ActionRun::Status::queued;
        found.status = ActionRun::Status::interrupted;
        found.finished.reset();
    }
    return found;
}

QList<ActionRun> ActionFiles::readSettled() const {
    QList<ActionRun> runs = readAll();
    if (std::ranges::any_of(runs, &ActionRun::isLive)) {
        const FolderLock lock(m_folder);
        for (ActionRun& run : runs) {
            run = run.isLive() ? settled(run) : run;
        }
    }
    return runs;
}

QList<ActionRun> ActionFiles::readBeside(const QList<ActionRun>& known, const IsOurs& isOurs) const {
    QList<ActionRun> runs = readAll();
    runs.removeIf([&](const ActionRun& each) { return isOurs(each.id); });
    std::ranges::copy_if(known, std::back_inserter(runs),
                         [&](const ActionRun& each) { return isOurs(each.id); });
    sortNewestFirst(runs);
    return runs;
}

QList<ActionRun> ActionFiles::readAgain(const QStringList& ids, QList<ActionRun> known,
                                        const IsOurs& isOurs) const {
    for (const QString& id : ids) {
        if (!isOurs(id)) {
            known.removeIf([&](const ActionRun& each) { return each.id == id; });
            const auto run = read(id);
            known += run ? QList{*run} : QList<ActionRun>();
        }
    }
    sortNewestFirst(known);
    return known;
}

QStringList ActionFiles::settle(QList<ActionRun>& runs, const IsOurs& isOurs, const QDateTime& now) const {
    const auto isTheirs = [&](const ActionRun& each) { return each.isLive() && !isOurs(each.id); };
    QStringList dead;
    if (std::ranges::none_of(runs, isTheirs)) {
        return dead;
    }
    // Nobody else is to look at the same moment, and tell of the same end.
    const FolderLock lock(m_folder);
    for (ActionRun& each : runs) {
        if (!isTheirs(each)) {
            continue;
        }
        each = settled(each);
        if (each.status == ActionRun::Status::interrupted && !each.finished) {
            each.finished = now;
            if (const auto written = write(each); !written) {
                AppLog::error(u"action"_s, written.error().message);
            }
            dead << each.id;
        }
    }
    return dead;
}

Result<> ActionFiles::write(const ActionRun& run) const {
    makeFolder();
    return writeFileAtomically(path(run.id), json::encode(run.toJson()));
}

std::unique_ptr<SpaceReserve> ActionFiles::reserve(const ActionRun& run) const {
    makeFolder();
    return std::make_unique<SpaceReserve>(m_folder, longestResult + json::encode(run.toJson()).size());
}

QString ActionFiles::newID(const QDateTime& now, const QString& app, const QString& key) const {
    const QString name =
        u"%1-%2-%3"_s.arg(dates::folderStamp(now), slugified(app).left(longestApp), key.first(keyInName));
    QString id = name;
    for (int count = 2; QFileInfo::exists(path(id)); ++count) {
        id = name + u'-' + QString::number(count);
    }
    return id;
}

QString ActionFiles::lockPath(const QString& id) const {
    return u"%1/.%2.lock"_s.arg(m_folder, id);
}

QStringList ActionFiles::hiddenNames(const QString& pattern) const {
    return QDir(m_folder).entryList({pattern}, QDir::Files | QDir::Hidden);
}

void ActionFiles::sweep() const {
    const FolderLock lock(m_folder);
    for (const QString& name : hiddenNames(u".*.lock"_s)) {
        const QString mark = m_folder + u'/' + name;
        if (LockFile::isTaken(mark) == false) {
            const LockFile taken(mark);
        }
    }
    for (const QString& name : hiddenNames(u".*.stop"_s)) {
        const QString id = name.sliced(1).chopped(5);
        if (LockFile::isTaken(lockPath(id)) == false) {
            forgetStop(id);
        }
    }
    const QDateTime old = QDateTime::currentDateTime().addSecs(-longestWrite);
    for (const QFileInfo& file :
         QDir(m_folder).entryInfoList(QDir::Files | QDir::Hidden | QDir::NoSymLinks)) {
        const QString name = file.fileName();
        const QStringView target = unfinishedTarget(name);
        if ((target.endsWith(u".json") || target.endsWith(u".stop")) && file.lastModified() < old) {
            QFile::remove(file.filePath());
        }
    }
}

bool ActionFiles::isWaiting(const QString& id) const {
    const auto run = LockFile::isTaken(lockPath(id)) == true ? read(id) : std::nullopt;
    return run && run->status == ActionRun::Status::queued;
}

QStringList ActionFiles::waiting(const IsOurs& isOurs) const {
    QStringList ids;
    for (const QString& name : hiddenNames(u".*.lock"_s)) {
        const QString id = name.sliced(1).chopped(5);
        ids += isWaiting(id) && !isOurs(id) ? QStringList(id) : QStringList();
    }
    return ids;
}

std::optional<LockFile> ActionFiles::takePlace(int count) const {
    for (int number = 1; number <= count; ++number) {
        LockFile place(placePath(number));
        if (place.isMine()) {
            return place;
        }
    }
    return std::nullopt;
}

bool ActionFiles::hasPlace(int count) const {
    int number = 1;
    while (number <= count && LockFile::isTaken(placePath(number)) == true) {
        ++number;
    }
    return number <= count;
}

Result<> ActionFiles::askToStop(const QString& id) const {
    return writeFileAtomically(stopPath(id), {});
}

bool ActionFiles::isAskedToStop(const QString& id) const {
    return QFileInfo::exists(stopPath(id));
}

void ActionFiles::forgetStop(const QString& id) const {
    QFile::remove(stopPath(id));
}

QString ActionFiles::stopPath(const QString& id) const {
    return u"%1/.%2.stop"_s.arg(m_folder, id);
}

QString ActionFiles::placePath(int number) const {
    return u"%1/.place-%2.lock"_s.arg(m_folder, QString::number(number));
}

QString ActionFiles::path(const QString& id) const {
    return u"%1/%2.json"_s.arg(m_folder, id);
}

}  // namespace lumbro
