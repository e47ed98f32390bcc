#include "platform/linux/desktop/VdirFiles.h"

#include "LumbroCore/AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <chrono>
#include <memory>
#include <tuple>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace lumbro {

namespace {

constexpr qsizetype mostFiles = 100'000;
constexpr qsizetype mostCollections = 200;
constexpr qint64 mostTitleBytes = 1024;
constexpr qint64 nanoseconds = 1'000'000'000;
/// A file that was changed within this time may change again without a new stamp.
constexpr qint64 young = 2 * nanoseconds;
constexpr qint64 secondsPerDay = 86400;
/// What is made ready around a question, so that the next one is answered from it.
constexpr qint64 before = 8 * secondsPerDay;
constexpr qint64 after = 35 * secondsPerDay;

qint64 nanosecondsNow() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
}

QString titleOf(const QString& path) {
    const auto bytes = readFile(path + u"/displayname"_s, mostTitleBytes);
    const QString title = QString::fromUtf8(bytes.value_or(QByteArray())).simplified();
    return title.isEmpty() ? QFileInfo(path).fileName() : title;
}

bool isItem(const char* name) {
    const size_t length = qstrlen(name);
    return length > 4 && name[0] != '.' && qstricmp(name + length - 4, ".ics") == 0;
}

void addCollections(const QString& path, int levels, QList<VdirCollection>& found) {
    QStringList below = QDir(path).entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    const bool hasItems = !QDir(path).entryList({u"*.ics"_s}, QDir::Files).isEmpty();
    if (hasItems || below.isEmpty() || QFileInfo::exists(path + u"/displayname"_s)) {
        found.append({path, titleOf(path)});
    }
    for (const QString& name : below) {
        if (levels > 0 && found.size() < mostCollections) {
            addCollections(path + u'/' + name, levels - 1, found);
        }
    }
}

auto order(const CalendarEvent& event) {
    return std::tuple(event.start.toMSecsSinceEpoch(), QStringView(event.title), QStringView(event.id));
}

}  // namespace

QList<VdirCollection> VdirFiles::collections(const QString& root) {
    QList<VdirCollection> found;
    if (!root.isEmpty() && QFileInfo(root).isDir()) {
        addCollections(root, 2, found);
        // A root without items is the place of the others, not one of them.
        if (found.size() == 1 && found.first().path == root &&
            QDir(root).entryList({u"*.ics"_s, u"displayname"_s}, QDir::Files).isEmpty()) {
            found.clear();
        }
    }
    return found;
}

void VdirFiles::lookInto(const VdirCollection& collection, const QString& ownEmail, qsizetype& room) {
    const QByteArray folder = QFile::encodeName(collection.path);
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(opendir(folder.constData()), closedir);
    const qint64 now = nanosecondsNow();
    // One reader has the stream, so that readdir is as good as any other way.
    while (const dirent* entry =
               entries ? readdir(entries.get()) : nullptr) {  // NOLINT(concurrency-mt-unsafe)
        struct stat info{};
        if (!isItem(entry->d_name) || fstatat(dirfd(entries.get()), entry->d_name, &info, 0) != 0 ||
            !S_ISREG(info.st_mode) || --room < 0) {
            continue;
        }
        const QByteArray path = folder + '/' + entry->d_name;
        const Stamp stamp{info.st_mtim.tv_sec * nanoseconds + info.st_mtim.tv_nsec, info.st_size,
                          info.st_ino};
        File& file = m_files[path];
        if (file.look == 0 || file.isYoung || file.stamp != stamp || file.calendar != collection.title) {
            const auto bytes = readFile(QFile::decodeName(path), IcalFile::mostBytes);
            IcalFile content = IcalFile::read(bytes.value_or(QByteArray()), ownEmail);
            file.isYoung = std::abs(now - stamp.modified) < young;
            // Half a file, this moment: what stood there before is nearer to the truth.
            if (content.isWhole() || !file.isYoung || file.look == 0) {
                file.content = std::move(content);
            }
            file.stamp = stamp;
            file.collection = collection.path;
            file.calendar = collection.title;
            m_hasChanged = true;
        }
        m_hasYoung = m_hasYoung || file.isYoung;
        file.look = m_look;
    }
}

void VdirFiles::look(const QString& root, const QString& ownEmail) {
    if (root != m_root || ownEmail != m_ownEmail) {
        m_files.clear();
        m_root = root;
        m_ownEmail = ownEmail;
        m_hasChanged = true;
    }
    ++m_look;
    m_isKnown = true;  // Before the look: what is told in between makes for another one.
    m_hasYoung = false;
    qsizetype room = mostFiles;
    const QList<VdirCollection> all = collections(root);
    for (const VdirCollection& collection : all) {
        lookInto(collection, ownEmail, room);
    }
    const auto gone = m_files.removeIf([this](const auto& each) { return each.value().look != m_look; });
    m_hasChanged = m_hasChanged || gone > 0;
}

void VdirFiles::expand(qint64 from, qint64 to) {
    if (!m_hasChanged && from >= m_from && to <= m_to) {
        return;
    }
    m_from = from - before;
    m_to = std::max(to, from + after);
    m_events.clear();
    for (const auto& [path, file] : m_files.asKeyValueRange()) {
        const qsizetype first = m_events.size();
        file.content.addEvents(m_from, m_to, m_events);
        for (qsizetype i = first; i < m_events.size(); ++i) {
            m_events[i].calendar = file.calendar;
            m_events[i].path = QFile::decodeName(path);
        }
    }
    std::ranges::sort(m_events, {}, order);
    m_hasChanged = false;
}

QList<CalendarEvent> VdirFiles::within(qint64 from, qint64 to) const {
    QList<CalendarEvent> found;
    for (const CalendarEvent& event : m_events) {
        const qint64 start = event.start.toSecsSinceEpoch();
        if (start >= to) {
            break;
        }
        if (start >= from || event.end.toSecsSinceEpoch() > from) {
            found.append(event);
        }
    }
    return found;
}

QList<CalendarEvent> VdirFiles::events(const QString& root, const QString& ownEmail, qint64 from, qint64 to) {
    const std::scoped_lock lock(m_mutex);
    look(root, ownEmail);
    expand(from, to);
    return within(from, to);
}

std::optional<QList<CalendarEvent>> VdirFiles::known(const QString& root, const QString& ownEmail,
                                                     qint64 from, qint64 to) {
    const std::unique_lock lock(m_mutex, std::try_to_lock);
    if (!lock || !m_isKnown || m_hasYoung || m_hasChanged || root != m_root || ownEmail != m_ownEmail ||
        from < m_from || to > m_to) {
        return std::nullopt;
    }
    return within(from, to);
}

QList<CalendarTask> VdirFiles::tasks(const QString& root, const QString& ownEmail,
                                     const QString& collection) {
    const std::scoped_lock lock(m_mutex);
    look(root, ownEmail);
    QList<CalendarTask> tasks;
    for (const File& file : std::as_const(m_files)) {
        if (file.collection == collection) {
            tasks += file.content.tasks();
        }
    }
    return tasks;
}

void VdirFiles::forget() {
    m_isKnown = false;
}

}  // namespace lumbro
