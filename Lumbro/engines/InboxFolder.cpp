#include "engines/InboxFolder.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Dates.h"
#include "LumbroCore/LockedUpdate.h"
#include "LumbroCore/Text.h"
#include "engines/formats/InboxSeen.h"
#include "library/CaptureLock.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <array>
#include <cerrno>

#include <sys/stat.h>

namespace lumbro {

namespace {

/// The system's bound for a name is 255; the date, a number and what an atomic write adds need room.
constexpr qsizetype longestStem = 160;
constexpr qsizetype longestName = 240;
constexpr qint64 mostShownBytes = qint64(64) * 1024;
constexpr qsizetype longestLine = 90;
constexpr int mostOfAName = 1000;

const QString resultName = u"result.md"_s;
const QString errorName = u"error.txt"_s;
const QString partName = u".part"_s;

/// Cut to so many bytes of UTF-8, never within a character.
QString fitted(QString text, qsizetype bytes) {
    while (text.toUtf8().size() > bytes) {
        text.chop(text.size() > 1 && text.back().isLowSurrogate() ? 2 : 1);
    }
    return text;
}

QString startOf(const QString& path) {
    QFile file(path);
    return QFileInfo(path).isFile() && file.open(QIODevice::ReadOnly)
               ? QString::fromUtf8(file.read(mostShownBytes))
               : QString();
}

/// Blanks within the line stay, as names of runs may hold several.
QString oneLine(QString text) {
    static const QRegularExpression breaks(uR"(\s*[\n\v\f\r\x{85}\x{2028}\x{2029}]\s*)"_s);
    return text.replace(breaks, u" "_s).trimmed();
}

QStringList contents(const QString& folder) {
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                                  QDir::Name);
}

/// The folders of runs, oldest first; others that somebody may have put there are left alone.
QStringList runFolders(const QString& folder) {
    static const QRegularExpression stamp(u"^\\d{4}-\\d{2}-\\d{2}-\\d{6}-"_s);
    return QDir(folder)
        .entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks, QDir::Name)
        .filter(stamp);
}

bool isFinished(const QStringList& names) {
    return names.contains(resultName) || names.contains(errorName);
}

}  // namespace

QString rawValue(InboxRun::State state) {
    static constexpr std::array words{"done", "failed", "skipped", "interrupted", "running", "waiting"};
    return QString::fromLatin1(words.at(static_cast<size_t>(state)));
}

InboxFolder::InboxFolder(const QString& libraryRoot, const QString& engineID)
    : m_engine(engineID), m_path(libraryRoot + u"/inbox/"_s + engineID) {}

QStringList InboxFolder::engines(const QString& libraryRoot) {
    return QDir(libraryRoot + u"/inbox"_s).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
}

Result<QString> InboxFolder::makeRun(const QDateTime& now, const QString& fileName) const {
    const QString base =
        dates::inboxStamp(now) + u'-' + fitted(QFileInfo(fileName).completeBaseName(), longestStem);
    for (int number = 1; number <= mostOfAName; ++number) {
        const QString path = m_path + u'/' + (number == 1 ? base : base + u"-%1"_s.arg(number));
        if (::mkdir(QFile::encodeName(path).constData(), 0700) == 0) {
            return path;
        }
        if (errno != EEXIST) {
            break;
        }
    }
    return fail(qt_error_string(errno));
}

QString InboxFolder::placeIn(const QString& run, const QString& fileName) {
    const QFileInfo info(fileName);
    const QString suffix = info.suffix().isEmpty() ? QString() : u'.' + fitted(info.suffix(), 40);
    const bool fits = fileName.toUtf8().size() <= longestName;
    const QString name = fits ? fileName : fitted(info.completeBaseName(), longestName - 41) + suffix;
    const bool isOurs = name.compare(resultName, Qt::CaseInsensitive) == 0 ||
                        name.compare(errorName, Qt::CaseInsensitive) == 0;
    return run + u'/' + (isOurs ? u"file-"_s : QString()) + name;
}

QString InboxFolder::firstLine(const QString& text) {
    for (const QString& line : text.split(u'\n')) {
        if (const QString shown = line.trimmed(); !shown.isEmpty()) {
            return firstCharacters(shown, longestLine);
        }
    }
    return {};
}

Result<> InboxFolder::writeError(const QString& run, const QString& line) {
    return writeFileAtomically(run + u'/' + errorName, oneLine(line).toUtf8() + '\n');
}

Result<> InboxFolder::writeResult(const QString& run, const QString& text) {
    auto written = writeFileAtomically(run + u'/' + resultName, text.toUtf8());
    if (written) {
        QFile::remove(run + u'/' + errorName);
    }
    return written;
}

QStringList InboxFolder::markInterrupted() const {
    QStringList marked;
    // The caller's lock keeps all others from updates.
    removeUnfinishedUpdates(m_path, QDateTime::currentDateTime());
    for (const QString& name : runFolders(m_path)) {
        const QString run = m_path + u'/' + name;
        QStringList names = contents(run);
        if (isFinished(names)) {
            continue;
        }
        if (names == QStringList(partName)) {
            // The beginning of a copy; the file itself still lies where it was dropped.
            QFile::remove(run + u'/' + partName);
            names.clear();
        }
        if (names.isEmpty() && QDir().rmdir(run)) {
            continue;
        }
        if (writeError(run,
                       u"Interrupted: Lumbro quit while this ran. Check what it did before you drop "
                       "the file in again."_s)) {
            marked += name;
        }
    }
    return marked;
}

std::optional<QString> InboxFolder::runOf(const QString& hash) const {
    const auto bytes = readFile(m_path + u"/seen.txt"_s);
    const QMap<QString, QString> runs = inboxSeen::parse(bytes.value_or(QByteArray()));
    const auto found = runs.constFind(hash);
    return found == runs.constEnd() ? std::nullopt : std::optional(*found);
}

Result<> InboxFolder::remember(const QString& hash, const QString& run) const {
    const auto written = updateFile(m_path + u"/seen.txt"_s, [&](const std::optional<QByteArray>& bytes) {
        return inboxSeen::with(bytes.value_or(QByteArray()), hash, run);
    });
    return written ? Result<>() : std::unexpected(written.error());
}

QStringList InboxFolder::endedRuns() const {
    QStringList names = runFolders(m_path);
    names.removeIf([this](const QString& name) { return !isFinished(contents(m_path + u'/' + name)); });
    return names;
}

QList<InboxRun> InboxFolder::runs(const QStringList& without) const {
    QList<InboxRun> found;
    QStringList names = runFolders(m_path);
    const QSet<QString> left(without.begin(), without.end());
    names.removeIf([&left](const QString& name) { return left.contains(name); });
    std::ranges::reverse(names);
    // Whoever works here holds the lock, and works on the newest that has no end.
    bool someoneWorks = CaptureLock::isHeld(m_path);
    for (const QString& name : std::as_const(names)) {
        found += describe(name);
        if (found.last().state == InboxRun::State::interrupted && found.last().message.isEmpty()) {
            found.last().state = someoneWorks ? InboxRun::State::running : InboxRun::State::interrupted;
            someoneWorks = false;
        }
    }
    return found;
}

InboxRun InboxFolder::describe(const QString& name) const {
    InboxRun run{m_engine, {}, name, InboxRun::State::interrupted, {}, m_path + u'/' + name};
    const QStringList names = contents(run.folder);
    for (const QString& file : names) {
        if (file != resultName && file != errorName && run.file.isEmpty()) {
            run.file = file;
        }
    }
    if (names.contains(resultName)) {
        run.state = InboxRun::State::done;
        run.message = firstLine(startOf(run.folder + u'/' + resultName));
    } else if (names.contains(errorName)) {
        run.message = oneLine(startOf(run.folder + u'/' + errorName));
        const QString word = run.message.section(u": "_s, 0, 0);
        run.state = word == u"Skipped"       ? InboxRun::State::skipped
                    : word == u"Interrupted" ? InboxRun::State::interrupted
                                             : InboxRun::State::failed;
        run.message = run.message.section(u": "_s, 1);
    }
    return run;
}

}  // namespace lumbro
