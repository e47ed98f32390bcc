#include "platform/linux/desktop/VdirCalendar.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/InBackground.h"
#include "LumbroCore/Text.h"
#include "platform/linux/desktop/DefaultCalendar.h"
#include "platform/linux/desktop/ReadBack.h"
#include "platform/linux/desktop/TaskIds.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QSocketNotifier>
#include <QStandardPaths>
#include <QTimer>
#include <QUuid>

#include <algorithm>
#include <array>
#include <utility>

#include <sys/inotify.h>
#include <unistd.h>

namespace lumbro {

namespace {

constexpr uint32_t changes =
    IN_MODIFY | IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
/// The kernel tells nothing of files behind links and on other machines.
constexpr auto trusted = std::chrono::seconds(10);
const QString ownTitle = u"Lumbro"_s;

CalendarList listOf(const VdirCollection& collection) {
    return {collection.path, collection.title};
}

QString newId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

QString fileOf(const QString& folder, const QString& id) {
    return folder + u'/' + id + u".ics"_s;
}

std::unexpected<Failure> notReadBack(const QString& path) {
    return fail(u"What is written to %1 can't be read back; nothing was added."_s.arg(path));
}

Result<> writeAndReadBack(const QString& path, const QByteArray& bytes) {
    if (const auto written = writeFileAtomically(path, bytes); !written) {
        // The reason names the file alone, and there may be many calendars.
        const QString reason = written.error().message.section(u": "_s, 1);
        return fail(u"Nothing was added: can't write %1: %2."_s.arg(path, reason));
    }
    if (readFile(path, IcalFile::mostBytes) != bytes) {
        QFile::remove(path);
        return notReadBack(path);
    }
    return {};
}

Result<CalendarList> makeCollection(const QString& root, const QString& title) {
    const QString name = slugified(title);
    const QString path = root + u'/' + (name.isEmpty() ? newId() : name);
    if (!makePrivateFolder(path)) {
        return fail(
            u"Can't make the folder %1; mend what is above it, or choose another one with `lumbro settings "
            "set calendarFolder FOLDER`."_s.arg(path));
    }
    if (const auto named = writeFileAtomically(path + u"/displayname"_s, title.toUtf8()); !named) {
        return std::unexpected(named.error());
    }
    return CalendarList{path, title};
}

}  // namespace

VdirCalendar::VdirCalendar(Settings& settings, Clock& clock)
    : m_settings(settings), m_clock(clock), m_files(std::make_shared<VdirFiles>()) {}

VdirCalendar::~VdirCalendar() {
    m_notifier.reset();
    if (m_notes >= 0) {
        close(m_notes);
    }
}

QString VdirCalendar::folder() const {
    QString chosen = m_settings.string(u"calendarFolder"_s);
    if (!chosen.isEmpty()) {
        if (chosen == u"~" || chosen.startsWith(u"~/")) {
            chosen.replace(0, 1, QDir::homePath());
        }
        return QDir::cleanPath(chosen);
    }
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    const QStringList usual{QDir::homePath() + u"/.calendars"_s, data + u"/calendars"_s,
                            data + u"/vdirsyncer/calendars"_s, data + u"/khal/calendars"_s};
    const auto found =
        std::ranges::find_if(usual, [](const QString& path) { return QFileInfo(path).isDir(); });
    return found == usual.end() ? usual.first() : *found;
}

CalendarAccess VdirCalendar::access() const {
    const QFileInfo info(folder());
    if (!info.exists()) {
        return CalendarAccess::notDetermined;
    }
    return info.isDir() && info.isReadable() && info.isExecutable() ? CalendarAccess::full
                                                                    : CalendarAccess::denied;
}

QString VdirCalendar::whyNoAccess() const {
    switch (access()) {
        case CalendarAccess::full:
            break;
        case CalendarAccess::denied:
            return u"The calendars in %1 can't be read; mend that folder, or choose another one with `lumbro "
                   "settings set calendarFolder FOLDER`."_s.arg(folder());
        case CalendarAccess::notDetermined:
            return u"There are no calendars in %1 yet; choose their folder with `lumbro settings set "
                   "calendarFolder FOLDER`. The first event that is added makes it."_s.arg(folder());
    }
    return {};
}

Task<CalendarAccess> VdirCalendar::requestAccess() {
    if (access() == CalendarAccess::notDetermined) {
        makePrivateFolder(folder());
    }
    co_return access();
}

void VdirCalendar::watch() {
    if (m_notes < 0) {
        m_notes = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        if (m_notes < 0) {
            return;
        }
        m_notifier = std::make_unique<QSocketNotifier>(m_notes, QSocketNotifier::Read);
        connect(m_notifier.get(), &QSocketNotifier::activated, this, &VdirCalendar::isQuiet);
    }
    QStringList folders{folder()};
    for (const VdirCollection& collection : VdirListing::collectionsOf(folder())) {
        folders.append(collection.path);
    }
    m_watched.clear();
    for (const QString& path : std::as_const(folders)) {
        if (inotify_add_watch(m_notes, QFile::encodeName(path).constData(), changes) >= 0) {
            m_watched.append(path);
        }
    }
    // Of a folder that can't be watched nothing is told: better to look each time.
    m_watched = m_watched == folders ? m_watched : QStringList();
}

/// Takes what the kernel has told. True when it watches everything and has told nothing new.
bool VdirCalendar::isQuiet() {
    bool any = false;
    alignas(inotify_event) std::array<char, 4096> told;
    while (m_notes >= 0 && read(m_notes, told.data(), told.size()) > 0) {
        any = true;
    }
    if (any) {
        m_files->forget();
        Q_EMIT changed();
    }
    return !any && !m_watched.isEmpty() && m_watched.first() == folder() &&
           m_clock.elapsed() - m_looked < trusted;
}

Task<QList<CalendarEvent>> VdirCalendar::events(QDateTime from, QDateTime to) {
    if (access() != CalendarAccess::full || !from.isValid() || !to.isValid()) {
        co_return QList<CalendarEvent>();
    }
    const qint64 begin = from.toSecsSinceEpoch();
    const qint64 end = to.toSecsSinceEpoch();
    const QString root = folder();
    const QString email = ownEmail();
    if (isQuiet()) {
        if (auto known = m_files->known(root, email, begin, end)) {
            co_return std::move(*known);
        }
    }
    const bool isFirst = m_looked < Clock::Duration::zero();
    if (!isFirst) {
        // Before the look, so that nothing that changes meanwhile is missed.
        watch();
    }
    m_looked = m_clock.elapsed();
    const QPointer<VdirCalendar> alive(this);
    const std::shared_ptr<VdirFiles> files = m_files;
    auto [found, leftOut] = co_await inBackground([=] {
        QList<CalendarEvent> events = files->events(root, email, begin, end);
        return std::pair(std::move(events), files->leftOut());
    });
    if (!alive) {
        co_return std::move(found);
    }
    m_leftOut = std::move(leftOut);
    if (isFirst) {
        // A command ends before this; whoever stays looks again once everything is watched.
        QTimer::singleShot(0, this, [this] {
            watch();
            m_files->forget();
        });
    }
    co_return std::move(found);
}

QList<CalendarList> VdirCalendar::taskLists() const {
    QList<CalendarList> lists;
    for (const VdirCollection& collection : VdirListing::collectionsOf(folder())) {
        lists.append(listOf(collection));
    }
    return lists;
}

QList<CalendarList> VdirCalendar::calendars() const {
    QList<CalendarList> lists = taskLists();
    lists.removeIf([](const CalendarList& list) { return !QFileInfo(list.id).isWritable(); });
    if (lists.isEmpty() && access() != CalendarAccess::denied) {
        // The one that is made with the first item.
        lists.append({QString(), ownTitle});
    }
    return lists;
}

/// The first one that is not our own list of tasks; where there is no other, that one.
std::optional<CalendarList> VdirCalendar::defaultTaskList() const {
    const QList<CalendarList> lists = calendars();
    const auto other =
        std::ranges::find_if(lists, [](const CalendarList& list) { return list.title != ownTitle; });
    return lists.isEmpty() ? std::nullopt : std::optional(other == lists.end() ? lists.first() : *other);
}

Result<CalendarList> VdirCalendar::eventCalendar() const {
    const QList<CalendarList> lists = calendars();
    if (const QString chosen = m_settings.string(u"calendarDefault"_s); !chosen.isEmpty()) {
        return defaultCalendar::named(lists, chosen);
    }
    const KhalConfiguration khal = KhalConfiguration::ofUser();
    const auto khals = defaultCalendar::ofKhal(lists, khal);
    if (const auto usual = khals ? khals : defaultTaskList()) {
        return *usual;
    }
    return fail(
        u"The calendars in %1 can't be written; mend that folder, or choose another one with `lumbro "
        "settings set calendarFolder FOLDER`."_s.arg(folder()));
}

std::optional<CalendarList> VdirCalendar::defaultCalendar() const {
    const auto calendar = eventCalendar();
    return calendar ? std::optional(*calendar) : std::nullopt;
}

QString VdirCalendar::aboutDefault() const {
    const KhalConfiguration khal = KhalConfiguration::ofUser();
    const QList<CalendarList> lists = calendars();
    const auto usual = defaultTaskList();
    if (!m_settings.string(u"calendarDefault"_s).isEmpty() || khal.defaultCalendar.isEmpty() || !usual ||
        defaultCalendar::ofKhal(lists, khal)) {
        return {};
    }
    const QString where = khal.path.isEmpty() ? QString() : u" (%1)"_s.arg(khal.path);
    return u"khal's calendar \"%1\"%2 isn't in %3 or can't be written; new events go to \"%4\". Choose one "
           "with `lumbro settings set calendarDefault NAME`."_s.arg(khal.defaultCalendar, where, folder(),
                                                                    usual->title);
}

QString VdirCalendar::whyNoCalendar() const {
    const auto calendar = eventCalendar();
    return calendar ? QString() : calendar.error().message;
}

AddedCalendarItem VdirCalendar::placed(const QString& id, const CalendarList& list) const {
    return {.id = id,
            .calendar = list.title,
            .account = QFileInfo(folder()).fileName(),
            .path = fileOf(list.id, id)};
}

Task<Result<AddedCalendarItem>> VdirCalendar::add(NewCalendarEvent event) {
    Result<CalendarList> calendar = eventCalendar();
    if (calendar && calendar->id.isEmpty()) {
        calendar = makeCollection(folder(), ownTitle);
    }
    if (!calendar) {
        co_return std::unexpected(calendar.error());
    }
    const QString id = newId();
    const AddedCalendarItem added = placed(id, *calendar);
    const QByteArray bytes = IcalFile::written(event, id, m_clock.now());
    if (readBack::idOf(bytes, event) != id) {
        co_return notReadBack(added.path);
    }
    if (const auto done = writeAndReadBack(added.path, bytes); !done) {
        co_return std::unexpected(done.error());
    }
    m_files->forget();
    co_return AddedCalendarItem(added);
}

Task<Result<CalendarList>> VdirCalendar::makeTaskList(QString title) {
    co_return makeCollection(folder(), title);
}

Task<Result<>> VdirCalendar::renameTaskList(QString id, QString title) {
    const auto lists = taskLists();
    if (std::ranges::find(lists, id, &CalendarList::id) == lists.end()) {
        co_return fail(FailureKind::notFound, u"There is no list %1."_s.arg(id));
    }
    co_return writeFileAtomically(id + u"/displayname"_s, title.toUtf8());
}

Task<QList<CalendarTask>> VdirCalendar::tasks(QString list) {
    const std::shared_ptr<VdirFiles> files = m_files;
    const QString root = folder();
    const QString email = ownEmail();
    co_return co_await inBackground([=] { return files->tasks(root, email, list); });
}

Task<Result<QList<AddedCalendarItem>>> VdirCalendar::addTasks(QList<CalendarTask> tasks, QString list) {
    if (list.isEmpty()) {
        const Result<CalendarList> made = makeCollection(folder(), ownTitle);
        if (!made) {
            co_return std::unexpected(made.error());
        }
        list = made->id;
    }
    const auto lists = taskLists();
    const auto known = std::ranges::find(lists, list, &CalendarList::id);
    const CalendarList place = known == lists.end() ? CalendarList{list, QFileInfo(list).fileName()} : *known;
    taskIds::set(tasks, list, m_clock.now().date());
    const QPointer<VdirCalendar> alive(this);
    QHash<QString, bool> isDone;
    const QList<CalendarTask> there = co_await this->tasks(list);
    if (!alive) {
        co_return fail(FailureKind::cancelled, u"Nothing was added."_s);
    }
    for (const CalendarTask& task : there) {
        isDone.insert(task.id, task.isDone);
    }
    m_files->forget();
    co_return writeTasks(tasks, place, isDone);
}

/// Writes those that are not open there already: all, or none.
Result<QList<AddedCalendarItem>> VdirCalendar::writeTasks(const QList<CalendarTask>& tasks,
                                                          const CalendarList& place,
                                                          const QHash<QString, bool>& isDone) {
    QList<AddedCalendarItem> added;
    for (const CalendarTask& task : tasks) {
        AddedCalendarItem item = placed(task.id, place);
        const bool hasFile = QFileInfo::exists(item.path);
        if (isDone.contains(task.id) && !isDone.value(task.id)) {
            item.existed = true;
            // Another program may keep it in a file of another name.
            item.path = hasFile ? item.path : QString();
            added.append(item);
            continue;
        }
        // Who adds a task again that was done wants another one; a file that is no task any more stays.
        const QString id = isDone.contains(task.id) || hasFile ? newId() : task.id;
        added.append(placed(id, place));
        const QString path = added.last().path;
        const QByteArray bytes = IcalFile::written(task, id, m_clock.now());
        const Result<> done =
            readBack::taskOf(bytes, task) ? writeAndReadBack(path, bytes) : notReadBack(path);
        if (!done) {
            for (const AddedCalendarItem& each : std::as_const(added)) {
                if (!each.existed) {
                    QFile::remove(each.path);
                }
            }
            return std::unexpected(done.error());
        }
    }
    return added;
}

}  // namespace lumbro
