#include "platform/eds/EdsService.h"

#include <QDateTime>

#include <utility>

namespace lumbro::eds {

namespace {

/// A calendar in a zone of its own, or a whole day, may begin a day off.
constexpr qint64 slack = qint64(2) * 86400;

QByteArray timeText(qint64 moment) {
    return QDateTime::fromSecsSinceEpoch(moment, Qt::UTC).toString(u"yyyyMMdd'T'HHmmss'Z'"_s).toLatin1();
}

QByteArray idOf(const QByteArray& file) {
    const Owned<ICalComponent> component(i_cal_component_new_from_string(file.constData()));
    return component ? QByteArray(i_cal_component_get_uid(component.get())) : QByteArray();
}

/// The program behind it may have ended since it was opened.
bool isWorthAnotherTry(const Failure& failure) {
    return failure.kind != FailureKind::cancelled && failure.kind != FailureKind::timedOut &&
           failure.kind != FailureKind::notFound;
}

}  // namespace

struct EdsService::Job {
    EdsService& service;
    std::function<void(CalendarService& service)> work;
    /// Its place among all that was posted.
    uint64_t number;

    static gboolean run(gpointer data) {
        Job& job = *static_cast<Job*>(data);
        job.service.begin(job.number);
        job.work(job.service);
        return G_SOURCE_REMOVE;
    }
    static void destroy(gpointer data) { delete static_cast<Job*>(data); }
};

EdsService::EdsService()
    : m_context(g_main_context_new()),
      m_loop(g_main_loop_new(m_context, FALSE)),
      m_thread([this] { run(); }) {}

EdsService::~EdsService() {
    {
        const std::scoped_lock lock(m_mutex);
        m_isClosing = true;
    }
    cancel();
    post([this](CalendarService&) { g_main_loop_quit(m_loop); });
    m_thread.join();
    g_main_loop_unref(m_loop);
    g_main_context_unref(m_context);
}

void EdsService::run() {
    // What the libraries tell later, they tell the context that was current when they were asked.
    g_main_context_push_thread_default(m_context);
    g_main_loop_run(m_loop);
    m_registry.reset();
    g_main_context_pop_thread_default(m_context);
}

void EdsService::post(std::function<void(CalendarService& service)> work) {
    const std::scoped_lock lock(m_mutex);
    GSource* source = g_idle_source_new();
    g_source_set_priority(source, G_PRIORITY_DEFAULT);
    g_source_set_callback(source, &Job::run, new Job{*this, std::move(work), ++m_posted}, &Job::destroy);
    g_source_attach(source, m_context);
    g_source_unref(source);
}

void EdsService::begin(uint64_t number) {
    const std::scoped_lock lock(m_mutex);
    m_running.reset(g_cancellable_new());
    m_cancel = m_running.get();
    if (m_isClosing || number <= m_cancelled) {
        g_cancellable_cancel(m_cancel);
    }
}

void EdsService::cancel() {
    Owned<GCancellable> running;
    {
        const std::scoped_lock lock(m_mutex);
        m_cancelled = m_posted;
        if (m_running) {
            running.reset(G_CANCELLABLE(g_object_ref(m_running.get())));
        }
    }
    if (running) {
        g_cancellable_cancel(running.get());
    }
}

Result<ServiceLists> EdsService::lists() {
    if (const Result<> connected = m_registry->connect(m_cancel); !connected) {
        return std::unexpected(connected.error());
    }
    return m_registry->lists();
}

Result<ServiceItems> EdsService::find(Kind kind, const QString& list, const QByteArray& query) {
    for (bool isAgain : {false, true}) {
        const Result<EdsClient*> client = m_registry->client(kind, list, m_cancel);
        if (!client) {
            return std::unexpected(client.error());
        }
        Result<QList<QByteArray>> files = (*client)->find(query, m_cancel);
        if (files) {
            return ServiceItems{(*client)->ownEmail(), std::move(*files)};
        }
        if (isAgain || !isWorthAnotherTry(files.error())) {
            return std::unexpected(files.error());
        }
        m_registry->close(kind, list);
    }
    std::unreachable();
}

Result<ServiceItems> EdsService::events(const QString& calendar, qint64 from, qint64 to) {
    return find(Kind::event, calendar,
                "(occur-in-time-range? (make-time \"" + timeText(from - slack) + "\") (make-time \"" +
                    timeText(to + slack) + "\"))");
}

Result<ServiceItems> EdsService::tasks(const QString& list) {
    return find(Kind::task, list, "#t");
}

Result<QList<QByteArray>> EdsService::readBack(Kind kind, const QString& list, const QList<QByteArray>& ids) {
    const Result<EdsClient*> client = m_registry->client(kind, list, m_cancel);
    if (!client) {
        return std::unexpected(client.error());
    }
    QList<QByteArray> files;
    for (const QByteArray& id : ids) {
        const Result<QByteArray> file = (*client)->file(id, m_cancel);
        if (!file) {
            return std::unexpected(file.error());
        }
        files.append(*file);
    }
    return files;
}

void EdsService::takeBack(Kind kind, const QString& list, const QList<QByteArray>& ids) {
    if (const Result<EdsClient*> client = m_registry->client(kind, list, m_cancel)) {
        for (const QByteArray& id : ids) {
            (*client)->remove(id, m_cancel);
        }
    }
}

Result<QList<QByteArray>> EdsService::add(Kind kind, const QString& list, const QList<QByteArray>& files) {
    const Result<QList<QByteArray>> added = addOnce(kind, list, files);
    return added || !isWorthAnotherTry(added.error()) ? added : addOnce(kind, list, files);
}

/// What was added before a failure is taken back, or stands there under its id, which can't be added again.
Result<QList<QByteArray>> EdsService::addOnce(Kind kind, const QString& list,
                                              const QList<QByteArray>& files) {
    const Result<EdsClient*> client = m_registry->client(kind, list, m_cancel);
    if (!client) {
        return std::unexpected(client.error());
    }
    QList<QByteArray> ids;
    for (const QByteArray& file : files) {
        ids.append(idOf(file));
    }
    const Result<QList<QByteArray>> added = (*client)->add(files, m_cancel);
    if (added) {
        ids = *added;
    } else if (isWorthAnotherTry(added.error())) {
        // It may have ended after it wrote, and before it said so.
        m_registry->close(kind, list);
    }
    const Result<QList<QByteArray>> there = readBack(kind, list, ids);
    if (there) {
        return there;
    }
    takeBack(kind, list, ids);
    return added ? there : added;
}

Result<ServiceList> EdsService::makeTaskList(const QString& title) {
    return m_registry->makeTaskList(title, m_cancel);
}

Result<> EdsService::renameTaskList(const QString& list, const QString& title) {
    return m_registry->rename(list, title, m_cancel);
}

void EdsService::watch(std::function<void()> changed) {
    m_registry->watch(std::move(changed), m_cancel);
}

}  // namespace lumbro::eds

/// See `MakeCalendarService`.
extern "C" __attribute__((visibility("default"))) lumbro::CalendarService* lumbroCalendarService(
    int version) {
    return version == lumbro::CalendarService::version ? new lumbro::eds::EdsService : nullptr;
}
