#include "platform/eds/EdsRegistry.h"

#include <QFileInfo>

#include <algorithm>
#include <utility>

namespace lumbro::eds {

namespace {

constexpr const char* serviceName = "org.gnome.evolution.dataserver.Sources5";
constexpr const char* busName = "org.freedesktop.DBus";
constexpr const char* busPath = "/org/freedesktop/DBus";
/// The lists that are kept on this machine.
constexpr const char* localParent = "local-stub";
constexpr const char* managerPath = "/org/gnome/evolution/dataserver/SourceManager";
constexpr const char* managerName = "org.freedesktop.DBus.ObjectManager";
/// For all of what a service that hangs may hold up, in microseconds.
constexpr gint64 openingPatience = 10'000'000;

/// What is left until then, in milliseconds, as a call takes it.
int leftUntil(gint64 end) {
    return int(std::max<gint64>((end - g_get_monotonic_time()) / 1000, 1));
}

/// GLib may free a call twice that is cancelled just when it is answered, so one that has a bound goes
/// without.
constexpr GCancellable* notCancelled = nullptr;

/// GLib would start a bus of its own where there is none.
bool hasSession() {
    return qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS") ||
           QFileInfo::exists(qEnvironmentVariable("XDG_RUNTIME_DIR", u"/nowhere"_s) + u"/bus"_s);
}

/// The libraries end the process where one of these is missing.
bool hasSchemas() {
    GSettingsSchemaSource* known = g_settings_schema_source_get_default();
    for (const char* id : {"org.gnome.Evolution.DefaultSources", "org.gnome.evolution-data-server"}) {
        GSettingsSchema* schema =
            known == nullptr ? nullptr : g_settings_schema_source_lookup(known, id, TRUE);
        if (schema == nullptr) {
            return false;
        }
        g_settings_schema_unref(schema);
    }
    return true;
}

void tellChange(std::function<void()>* changed) {
    if (*changed) {
        (*changed)();
    }
}

QString textOf(const char* text) {
    return QString::fromUtf8(text);
}

QString idOf(const Owned<ESource>& source) {
    return source ? textOf(e_source_get_uid(source.get())) : QString();
}

}  // namespace

EdsRegistry::~EdsRegistry() {
    forget();
}

void EdsRegistry::forget() {
    m_clients.clear();
    if (m_registry) {
        g_signal_handlers_disconnect_by_data(m_registry.get(), &m_changed);
    }
    m_registry.reset();
    m_owner.clear();
}

Result<> EdsRegistry::connect(GCancellable* cancel) {
    Error cancelled;
    if (g_cancellable_set_error_if_cancelled(cancel, cancelled.out()) != FALSE) {
        return cancelled.failure();
    }
    if (const auto open = openBus(); !open) {
        forget();
        return open;
    }
    const gint64 end = g_get_monotonic_time() + openingPatience;
    QByteArray now = owner(end);
    if (m_registry && !now.isEmpty() && now == m_owner) {
        return {};
    }
    forget();
    if (now.isEmpty()) {
        if (const auto started = callService(busName, busPath, busName, "StartServiceByName",
                                             g_variant_new("(su)", serviceName, 0U), end);
            !started) {
            return started;
        }
        now = owner(end);
    }
    // What follows waits for it twice, 25 seconds each time.
    if (const auto answering =
            callService(serviceName, managerPath, managerName, "GetManagedObjects", nullptr, end);
        !answering) {
        return answering;
    }
    Error error;
    m_registry.reset(e_source_registry_new_sync(notCancelled, error.out()));
    if (!m_registry) {
        return error.failure();
    }
    m_owner = now;
    follow();
    return {};
}

Result<> EdsRegistry::openBus() {
    if (m_bus && g_dbus_connection_is_closed(m_bus.get()) == FALSE) {
        return {};
    }
    forget();
    m_bus.reset();
    if (!hasSession()) {
        return fail(FailureKind::notLoggedIn, u"there is no session"_s);
    }
    if (!hasSchemas()) {
        return fail(FailureKind::notInstalled, u"its settings are not installed"_s);
    }
    Error error;
    m_bus.reset(g_bus_get_sync(G_BUS_TYPE_SESSION, notCancelled, error.out()));
    if (!m_bus || g_dbus_connection_is_closed(m_bus.get()) != FALSE) {
        return fail(FailureKind::notLoggedIn, error.failure().error().message);
    }
    // The end of the session must not be ours.
    g_dbus_connection_set_exit_on_close(m_bus.get(), FALSE);
    return {};
}

QByteArray EdsRegistry::owner(gint64 end) const {
    GVariant* answer = g_dbus_connection_call_sync(
        m_bus.get(), busName, busPath, busName, "GetNameOwner", g_variant_new("(s)", serviceName),
        G_VARIANT_TYPE("(s)"), G_DBUS_CALL_FLAGS_NONE, leftUntil(end), notCancelled, nullptr);
    if (answer == nullptr) {
        return {};
    }
    char* name = nullptr;
    g_variant_get(answer, "(s)", &name);
    g_variant_unref(answer);
    return bytesOf(name);
}

Result<> EdsRegistry::callService(const char* name, const char* path, const char* interface,
                                  const char* method, GVariant* parameters, gint64 end) const {
    Error error;
    GVariant* answer =
        g_dbus_connection_call_sync(m_bus.get(), name, path, interface, method, parameters, nullptr,
                                    G_DBUS_CALL_FLAGS_NONE, leftUntil(end), notCancelled, error.out());
    if (answer == nullptr) {
        return error.failure();
    }
    g_variant_unref(answer);
    return {};
}

void EdsRegistry::watch(std::function<void()> changed, GCancellable* cancel) {
    m_changed = std::move(changed);
    follow();
    for (const auto& [key, client] : m_clients) {
        if (key.first == Kind::event) {
            client->watch(m_changed, cancel);
        }
    }
}

void EdsRegistry::follow() {
    if (!m_registry || !m_changed) {
        return;
    }
    g_signal_handlers_disconnect_by_data(m_registry.get(), &m_changed);
    for (const char* signal :
         {"source-added", "source-removed", "source-changed", "source-enabled", "source-disabled"}) {
        g_signal_connect_swapped(m_registry.get(), signal, G_CALLBACK(tellChange), &m_changed);
    }
}

Owned<ESource> EdsRegistry::source(const QString& id) const {
    return Owned<ESource>(m_registry ? e_source_registry_ref_source(m_registry.get(), id.toUtf8().constData())
                                     : nullptr);
}

ServiceList EdsRegistry::listOf(ESource* source, const char* extension) const {
    ServiceList list;
    list.list = {textOf(e_source_get_uid(source)), textOf(e_source_get_display_name(source))};
    if (const char* parent = e_source_get_parent(source)) {
        if (const Owned<ESource> account = this->source(textOf(parent))) {
            list.account = textOf(e_source_get_display_name(account.get()));
        }
    }
    gpointer details = e_source_get_extension(source, extension);
    list.isShown = e_source_selectable_get_selected(E_SOURCE_SELECTABLE(details)) != FALSE;
    const QByteArray backend = e_source_backend_get_backend_name(E_SOURCE_BACKEND(details));
    list.takesItems = backend != "contacts" && backend != "weather" && backend != "webcal";
    return list;
}

QList<ServiceList> EdsRegistry::listsOf(const char* extension) const {
    QList<ServiceList> lists;
    const auto sources = taken<ESource>(e_source_registry_list_enabled(m_registry.get(), extension));
    for (const Owned<ESource>& source : sources) {
        lists.append(listOf(source.get(), extension));
    }
    return lists;
}

ServiceLists EdsRegistry::lists() const {
    return {
        .calendars = listsOf(E_SOURCE_EXTENSION_CALENDAR),
        .taskLists = listsOf(E_SOURCE_EXTENSION_TASK_LIST),
        .defaultCalendar = idOf(Owned<ESource>(e_source_registry_ref_default_calendar(m_registry.get()))),
        .defaultTaskList = idOf(Owned<ESource>(e_source_registry_ref_default_task_list(m_registry.get())))};
}

Result<EdsClient*> EdsRegistry::client(Kind kind, const QString& id, GCancellable* cancel) {
    if (const auto known = m_clients.find({kind, id}); known != m_clients.end()) {
        return known->second.get();
    }
    const Owned<ESource> there = source(id);
    if (!there) {
        return fail(FailureKind::notFound, u"there is no such calendar any more"_s);
    }
    auto opened = EdsClient::open(there.get(), kind, cancel);
    if (!opened) {
        return std::unexpected(opened.error());
    }
    if (m_changed && kind == Kind::event) {
        (*opened)->watch(m_changed, cancel);
    }
    return m_clients.insert_or_assign({kind, id}, std::move(*opened)).first->second.get();
}

Result<ServiceList> EdsRegistry::makeTaskList(const QString& title, GCancellable* cancel) {
    const Owned<ESource> usual(e_source_registry_ref_default_task_list(m_registry.get()));
    if (!usual || qstrcmp(e_source_get_parent(usual.get()), localParent) != 0) {
        return fail(u"lists of tasks can be made only among those on this machine"_s);
    }
    Error error;
    const Owned<ESource> made(e_source_new(nullptr, nullptr, error.out()));
    if (!made) {
        return error.failure();
    }
    e_source_set_parent(made.get(), localParent);
    e_source_set_display_name(made.get(), title.toUtf8().constData());
    auto* backend = E_SOURCE_BACKEND(e_source_get_extension(made.get(), E_SOURCE_EXTENSION_TASK_LIST));
    e_source_backend_set_backend_name(backend, "local");
    if (e_source_registry_commit_source_sync(m_registry.get(), made.get(), cancel, error.out()) == FALSE) {
        return error.failure();
    }
    return listOf(made.get(), E_SOURCE_EXTENSION_TASK_LIST);
}

Result<> EdsRegistry::rename(const QString& id, const QString& title, GCancellable* cancel) {
    const Owned<ESource> list = source(id);
    if (!list) {
        return fail(FailureKind::notFound, u"there is no such list any more"_s);
    }
    Error error;
    e_source_set_display_name(list.get(), title.toUtf8().constData());
    if (e_source_write_sync(list.get(), cancel, error.out()) == FALSE) {
        return error.failure();
    }
    return {};
}

}  // namespace lumbro::eds
