#include "platform/eds/EdsClient.h"

#include <utility>

namespace lumbro::eds {

namespace {

/// Not to wait for a server on the network: what was read of it before is there.
constexpr guint32 withoutWaiting = ~guint32(0);

void tellChange(std::function<void()>* changed) {
    (*changed)();
}

void noteZone(ICalParameter* parameter, gpointer zones) {
    if (const char* id = i_cal_parameter_get_tzid(parameter)) {
        static_cast<std::set<QByteArray>*>(zones)->insert(id);
    }
}

struct FreeList {
    void operator()(GSList* list) const { g_slist_free(list); }
};

}  // namespace

Result<std::unique_ptr<EdsClient>> EdsClient::open(ESource* source, CalendarService::Kind kind,
                                                   GCancellable* cancel) {
    const auto type = kind == CalendarService::Kind::event ? E_CAL_CLIENT_SOURCE_TYPE_EVENTS
                                                           : E_CAL_CLIENT_SOURCE_TYPE_TASKS;
    Error error;
    Owned<EClient> opened(e_cal_client_connect_sync(source, type, withoutWaiting, cancel, error.out()));
    if (!opened) {
        return error.failure();
    }
    std::unique_ptr<EdsClient> client(new EdsClient(std::move(opened)));
    char* address = nullptr;
    if (e_client_get_backend_property_sync(client->m_client.get(), E_CAL_BACKEND_PROPERTY_CAL_EMAIL_ADDRESS,
                                           &address, cancel, nullptr) != FALSE) {
        client->m_ownEmail = QString::fromUtf8(bytesOf(address)).trimmed();
    }
    return client;
}

EdsClient::~EdsClient() {
    g_signal_handlers_disconnect_by_data(m_client.get(), &m_changed);
    if (m_view) {
        g_signal_handlers_disconnect_by_data(m_view.get(), &m_changed);
    }
}

void EdsClient::watch(const std::function<void()>& changed, GCancellable* cancel) {
    if (m_view) {
        return;
    }
    m_changed = changed;
    g_signal_connect_swapped(m_client.get(), "backend-died", G_CALLBACK(tellChange), &m_changed);
    ECalClientView* view = nullptr;
    if (e_cal_client_get_view_sync(calendar(), "#t", &view, cancel, nullptr) == FALSE) {
        return;
    }
    m_view.reset(view);
    // Only that something happened is of interest: no contents at the start, and little later.
    static char id[] = "UID";
    const std::unique_ptr<GSList, FreeList> fields(g_slist_prepend(nullptr, id));
    e_cal_client_view_set_fields_of_interest(view, fields.get(), nullptr);
    e_cal_client_view_set_flags(view, E_CAL_CLIENT_VIEW_FLAGS_NONE, nullptr);
    for (const char* signal : {"objects-added", "objects-modified", "objects-removed"}) {
        g_signal_connect_swapped(view, signal, G_CALLBACK(tellChange), &m_changed);
    }
    e_cal_client_view_start(view, nullptr);
}

void EdsClient::Item::add(ICalComponent* component) {
    text += bytesOf(i_cal_component_as_ical_string(component));
    i_cal_component_foreach_tzid(component, noteZone, &zones);
    isSeries = isSeries || e_cal_util_component_has_recurrences(component) != FALSE ||
               e_cal_util_component_is_instance(component) != FALSE;
}

Result<QList<QByteArray>> EdsClient::find(const QByteArray& query, GCancellable* cancel) {
    GSList* found = nullptr;
    Error error;
    if (e_cal_client_get_object_list_sync(calendar(), query.constData(), &found, cancel, error.out()) ==
        FALSE) {
        return error.failure();
    }
    std::map<QByteArray, Item> items;
    for (const Owned<ICalComponent>& component : taken<ICalComponent>(found)) {
        items[i_cal_component_get_uid(component.get())].add(component.get());
    }
    QList<QByteArray> files;
    for (const auto& [id, item] : items) {
        if (!item.isSeries) {
            files.append(fileOf(item, cancel));
            continue;
        }
        // The query finds an occurrence by the rules even where something else stands for it at another time.
        const Result<Item> series = whole(id, cancel);
        if (series) {
            files.append(fileOf(*series, cancel));
        } else if (series.error().kind != FailureKind::notFound) {
            return std::unexpected(series.error());
        }
    }
    return files;
}

Result<EdsClient::Item> EdsClient::whole(const QByteArray& id, GCancellable* cancel) {
    GSList* found = nullptr;
    Error error;
    if (e_cal_client_get_objects_for_uid_sync(calendar(), id.constData(), &found, cancel, error.out()) ==
        FALSE) {
        return error.failure();
    }
    Item item;
    for (const Owned<ECalComponent>& component : taken<ECalComponent>(found)) {
        item.add(e_cal_component_get_icalcomponent(component.get()));
    }
    return item;
}

Result<QByteArray> EdsClient::file(const QByteArray& id, GCancellable* cancel) {
    const Result<Item> item = whole(id, cancel);
    if (!item) {
        return std::unexpected(item.error());
    }
    return fileOf(*item, cancel);
}

QByteArray EdsClient::fileOf(const Item& item, GCancellable* cancel) {
    QByteArray text = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\n";
    for (const QByteArray& id : item.zones) {
        text += zone(id, cancel);
    }
    return text + item.text + "END:VCALENDAR\r\n";
}

QByteArray EdsClient::zone(const QByteArray& id, GCancellable* cancel) {
    if (const auto known = m_zones.find(id); known != m_zones.end()) {
        return known->second;
    }
    // It stays the client's.
    ICalTimezone* zone = nullptr;
    QByteArray text;
    if (e_cal_client_get_timezone_sync(calendar(), id.constData(), &zone, cancel, nullptr) != FALSE &&
        zone != nullptr) {
        if (const Owned<ICalComponent> described{i_cal_timezone_get_component(zone)}) {
            text = bytesOf(i_cal_component_as_ical_string(described.get()));
        }
    }
    m_zones.emplace(id, text);
    return text;
}

Result<QList<QByteArray>> EdsClient::add(const QList<QByteArray>& files, GCancellable* cancel) {
    std::vector<Owned<ICalComponent>> components;
    GSList* list = nullptr;
    for (const QByteArray& file : files) {
        const Owned<ICalComponent> calendarFile(i_cal_component_new_from_string(file.constData()));
        const Owned<ICalComponent> inner(calendarFile ? i_cal_component_get_inner(calendarFile.get())
                                                      : nullptr);
        if (inner) {
            components.emplace_back(i_cal_component_clone(inner.get()));
            list = g_slist_append(list, components.back().get());
        }
    }
    const std::unique_ptr<GSList, FreeList> owned(list);
    if (!list) {
        return fail(u"there is nothing to add"_s);
    }
    GSList* given = nullptr;
    Error error;
    if (e_cal_client_create_objects_sync(calendar(), list, E_CAL_OPERATION_FLAG_NONE, &given, cancel,
                                         error.out()) == FALSE) {
        return error.failure();
    }
    QList<QByteArray> ids;
    for (const GSList* each = given; each != nullptr; each = each->next) {
        ids.append(static_cast<const char*>(each->data));
    }
    e_client_util_free_string_slist(given);
    return ids;
}

void EdsClient::remove(const QByteArray& id, GCancellable* cancel) {
    e_cal_client_remove_object_sync(calendar(), id.constData(), nullptr, E_CAL_OBJ_MOD_ALL,
                                    E_CAL_OPERATION_FLAG_NONE, cancel, nullptr);
}

}  // namespace lumbro::eds
