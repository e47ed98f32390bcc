#include "platform/linux/desktop/EvolutionCalendar.h"

#include "LumbroCore/AppLog.h"
#include "platform/linux/desktop/CalendarModule.h"
#include "platform/linux/desktop/DefaultCalendar.h"
#include "platform/linux/desktop/ServiceReading.h"
#include "platform/linux/desktop/TaskIds.h"

#include <QMetaMethod>
#include <QPointer>
#include <QUuid>

#include <algorithm>
#include <atomic>
#include <coroutine>
#include <mutex>
#include <utility>

namespace lumbro {

namespace {

/// Runs work on the service's thread, and goes on with its answer on this one.
template <typename Work>
struct ServiceAwaiter {
    using Answer = std::invoke_result_t<Work&, CalendarService&>;

    CalendarService& service;
    Work work;
    std::optional<Answer> answer = {};
    Mailbox mailbox = {};
    /// Held while the answer is posted, so that the mailbox stays until that is done.
    std::mutex posting = {};

    bool await_ready() const noexcept { return false; }
    void await_suspend(std::coroutine_handle<> handle) {
        service.post([this, handle](CalendarService& there) {
            answer.emplace(work(there));
            const std::scoped_lock lock(posting);
            mailbox.post([handle] { handle.resume(); });
        });
    }
    Answer await_resume() {
        const std::scoped_lock lock(posting);
        return std::move(*answer);
    }
};

const ServiceList* listWith(const QList<ServiceList>& lists, const QString& id) {
    const auto found =
        std::ranges::find_if(lists, [&id](const ServiceList& list) { return list.list.id == id; });
    return found == lists.end() ? nullptr : &*found;
}

/// Those that new items may go to.
QList<CalendarList> listsOf(const QList<ServiceList>& all) {
    QList<CalendarList> lists;
    for (const ServiceList& each : all) {
        if (each.takesItems) {
            lists.append(each.list);
        }
    }
    return lists;
}

/// The service's choice, where that is switched on; else the first one.
std::optional<CalendarList> chosen(const QList<ServiceList>& lists, const QString& id) {
    if (const ServiceList* usual = listWith(lists, id)) {
        return usual->list;
    }
    const QList<CalendarList> others = listsOf(lists);
    return others.isEmpty() ? std::nullopt : std::optional(others.first());
}

QString newId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

}  // namespace

EvolutionCalendar::EvolutionCalendar(Settings& settings, Clock& clock, Load load)
    : m_settings(settings), m_clock(clock), m_load(std::move(load)) {}

EvolutionCalendar::~EvolutionCalendar() = default;

bool EvolutionCalendar::load() {
    if (m_service) {
        return true;
    }
    auto service = m_load();
    if (!service) {
        lose(service.error());
        return false;
    }
    m_service = std::move(*service);
    if (m_isWatching) {
        watch();
    }
    return true;
}

template <typename Work>
Task<std::invoke_result_t<Work&, CalendarService&>> EvolutionCalendar::ask(Work work) {
    if (!load()) {
        co_return fail(FailureKind::notInstalled, QString(m_why));
    }
    Timer deadline;
    deadline.start(m_clock, patience, Clock::Repeat::once, [alive = QPointer(this)] {
        if (alive) {
            alive->m_service->cancel();
        }
    });
    ServiceAwaiter<Work> awaiter{*m_service, std::move(work)};
    co_return co_await awaiter;
}

/// A sentence of what the service says; where there is none, there is one already.
Failure EvolutionCalendar::told(const Failure& failure) const {
    if (!m_service) {
        return failure;
    }
    const QString other = calendarModule::orFolder();
    switch (failure.kind) {
        case FailureKind::notInstalled:
            return {failure.kind,
                    u"Evolution's calendars need Evolution Data Server; install the package "
                    "evolution-data-server"_s +
                        other,
                    failure.message};
        case FailureKind::notLoggedIn:
            return {
                failure.kind,
                u"Evolution's calendars can be had in a session of a desktop only; log in to one"_s + other,
                failure.message};
        case FailureKind::cancelled:
        case FailureKind::timedOut:
            return {FailureKind::timedOut,
                    u"Evolution's calendars don't answer; try again after logging out and in"_s + other,
                    failure.message};
        default:
            return {failure.kind,
                    u"Evolution's calendars can't be used (%1); try again"_s.arg(failure.message) + other,
                    failure.message};
    }
}

void EvolutionCalendar::lose(const Failure& failure) {
    const Failure sentence = told(failure);
    m_access = CalendarAccess::denied;
    if (std::exchange(m_why, sentence.message) != sentence.message) {
        AppLog::error(u"calendar"_s, sentence.detail.isEmpty()
                                         ? sentence.message
                                         : u"%1 [%2]"_s.arg(sentence.message, sentence.detail));
    }
}

void EvolutionCalendar::take(ServiceLists lists) {
    m_lists = std::move(lists);
    m_access = CalendarAccess::full;
    m_why.clear();
}

Task<CalendarAccess> EvolutionCalendar::open() {
    const QPointer<EvolutionCalendar> alive(this);
    Result<ServiceLists> lists = co_await ask([](CalendarService& service) { return service.lists(); });
    if (!alive) {
        co_return CalendarAccess::denied;
    }
    if (lists) {
        take(std::move(*lists));
    } else {
        lose(lists.error());
    }
    co_return CalendarAccess(m_access);
}

Task<QList<CalendarEvent>> EvolutionCalendar::events(QDateTime from, QDateTime to) {
    if (!from.isValid() || !to.isValid()) {
        co_return QList<CalendarEvent>();
    }
    const QPointer<EvolutionCalendar> alive(this);
    auto reading = co_await ask([from = from.toSecsSinceEpoch(), to = to.toSecsSinceEpoch(),
                                 email = m_settings.string(u"ownEmail"_s)](CalendarService& service) {
        return serviceReading::events(service, email, from, to);
    });
    if (!alive) {
        co_return QList<CalendarEvent>();
    }
    if (!reading) {
        lose(reading.error());
        co_return QList<CalendarEvent>();
    }
    take(std::move(reading->lists));
    if (std::exchange(m_unread, reading->unread) != reading->unread) {
        for (const QString& sentence : std::as_const(m_unread)) {
            AppLog::error(u"calendar"_s, sentence);
        }
    }
    co_return std::move(reading->events);
}

QList<CalendarList> EvolutionCalendar::calendars() const {
    return listsOf(m_lists.calendars);
}

Result<CalendarList> EvolutionCalendar::eventCalendar() const {
    if (const QString name = m_settings.string(u"calendarDefault"_s); !name.isEmpty()) {
        return defaultCalendar::named(calendars(), name);
    }
    if (const auto usual = chosen(m_lists.calendars, m_lists.defaultCalendar)) {
        return *usual;
    }
    return fail(u"Evolution has no calendar that is switched on; switch one on there"_s +
                calendarModule::orFolder());
}

std::optional<CalendarList> EvolutionCalendar::defaultCalendar() const {
    const auto calendar = eventCalendar();
    return calendar ? std::optional(*calendar) : std::nullopt;
}

QString EvolutionCalendar::whyNoCalendar() const {
    const auto calendar = eventCalendar();
    return calendar ? QString() : calendar.error().message;
}

std::optional<CalendarList> EvolutionCalendar::defaultTaskList() const {
    return chosen(m_lists.taskLists, m_lists.defaultTaskList);
}

QList<CalendarList> EvolutionCalendar::taskLists() const {
    return listsOf(m_lists.taskLists);
}

Task<Result<AddedCalendarItem>> EvolutionCalendar::add(NewCalendarEvent event) {
    const QPointer<EvolutionCalendar> alive(this);
    const Result<CalendarList> calendar = eventCalendar();
    if (!calendar) {
        co_return std::unexpected(calendar.error());
    }
    const ServiceList* there = listWith(m_lists.calendars, calendar->id);
    const QString account = there == nullptr ? QString() : there->account;
    const Result<QString> id = co_await ask(
        [event, calendar = calendar->id, made = newId(), now = m_clock.now()](CalendarService& service) {
            return serviceReading::add(service, calendar, event, made, now);
        });
    if (!id) {
        co_return std::unexpected(alive ? told(id.error()) : id.error());
    }
    co_return AddedCalendarItem{.id = *id, .calendar = calendar->title, .account = account, .path = {}};
}

Task<Result<CalendarList>> EvolutionCalendar::makeTaskList(QString title) {
    const QPointer<EvolutionCalendar> alive(this);
    const Result<ServiceList> made =
        co_await ask([title](CalendarService& service) { return service.makeTaskList(title); });
    if (!made) {
        co_return std::unexpected(alive ? told(made.error()) : made.error());
    }
    if (alive) {
        m_lists.taskLists.append(*made);
    }
    co_return CalendarList(made->list);
}

Task<Result<>> EvolutionCalendar::renameTaskList(QString id, QString title) {
    const QPointer<EvolutionCalendar> alive(this);
    const Result<> renamed =
        co_await ask([id, title](CalendarService& service) { return service.renameTaskList(id, title); });
    if (!renamed) {
        co_return std::unexpected(alive ? told(renamed.error()) : renamed.error());
    }
    if (alive) {
        for (ServiceList& list : m_lists.taskLists) {
            list.list.title = list.list.id == id ? title : list.list.title;
        }
    }
    co_return Result<>();
}

Task<QList<CalendarTask>> EvolutionCalendar::tasks(QString list) {
    const QPointer<EvolutionCalendar> alive(this);
    Result<QList<CalendarTask>> tasks =
        co_await ask([list](CalendarService& service) { return serviceReading::tasks(service, list); });
    if (!tasks && alive) {
        lose(tasks.error());
    }
    co_return tasks.value_or(QList<CalendarTask>());
}

Task<Result<QList<AddedCalendarItem>>> EvolutionCalendar::addTasks(QList<CalendarTask> tasks, QString list) {
    const QPointer<EvolutionCalendar> alive(this);
    QList<AddedCalendarItem> added;
    if (tasks.isEmpty()) {
        co_return added;
    }
    const ServiceList* there = listWith(m_lists.taskLists, list);
    const ServiceList place = there == nullptr ? ServiceList{.list = {list, list}} : *there;
    taskIds::set(tasks, list, m_clock.now().date());
    const Result<QList<serviceReading::AddedTask>> done =
        co_await ask([list, tasks, now = m_clock.now()](CalendarService& service) {
            return serviceReading::add(service, list, tasks, now);
        });
    if (!done) {
        co_return std::unexpected(alive ? told(done.error()) : done.error());
    }
    for (const serviceReading::AddedTask& task : *done) {
        added.append({.id = task.id,
                      .calendar = place.list.title,
                      .account = place.account,
                      .path = {},
                      .existed = task.existed});
    }
    co_return added;
}

void EvolutionCalendar::connectNotify(const QMetaMethod& signal) {
    if (signal == QMetaMethod::fromSignal(&CalendarStore::changed) && !std::exchange(m_isWatching, true) &&
        m_service) {
        watch();
    }
}

void EvolutionCalendar::watch() {
    // One change of a calendar is told many times.
    const auto isTold = std::make_shared<std::atomic<bool>>(false);
    m_service->post([this, isTold](CalendarService& service) {
        service.watch([this, isTold] {
            if (!isTold->exchange(true)) {
                m_mailbox.post([this, isTold] {
                    isTold->store(false);
                    Q_EMIT changed();
                });
            }
        });
    });
}

}  // namespace lumbro
