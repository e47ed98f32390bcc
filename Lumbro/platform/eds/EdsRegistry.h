#pragma once

#include "platform/CalendarService.h"
#include "platform/eds/EdsClient.h"
#include "platform/eds/GlibPointer.h"

#include <functional>
#include <map>
#include <memory>
#include <utility>

#include <libedataserver/libedataserver.h>

namespace lumbro::eds {

/// Which calendars and lists of tasks there are, and those that are open. On the thread of the service; a
/// call that is cancelled fails.
class EdsRegistry {
  public:
    using Kind = CalendarService::Kind;

    EdsRegistry() = default;
    ~EdsRegistry();
    EdsRegistry(const EdsRegistry&) = delete;
    EdsRegistry& operator=(const EdsRegistry&) = delete;

    /// Connects to the session and to Evolution Data Server, anew where that has ended meanwhile. Fails as
    /// timed out when that doesn't answer within ten seconds.
    Result<> connect(GCancellable* cancel);
    /// After `connect`.
    ServiceLists lists() const;
    /// Opens it where it isn't open yet. Lasts until the next call of anything but this.
    Result<EdsClient*> client(Kind kind, const QString& id, GCancellable* cancel);
    /// The next `client` opens it anew.
    void close(Kind kind, const QString& id) { m_clients.erase({kind, id}); }
    Result<ServiceList> makeTaskList(const QString& title, GCancellable* cancel);
    Result<> rename(const QString& id, const QString& title, GCancellable* cancel);
    /// From here on calls `changed` when a list, or something in a calendar that is open, may have changed.
    void watch(std::function<void()> changed, GCancellable* cancel);

  private:
    Result<> openBus();
    QByteArray owner(gint64 end) const;
    Result<> callService(const char* name, const char* path, const char* interface, const char* method,
                         GVariant* parameters, gint64 end) const;
    void follow();
    void forget();
    Owned<ESource> source(const QString& id) const;
    ServiceList listOf(ESource* source, const char* extension) const;
    QList<ServiceList> listsOf(const char* extension) const;

    Owned<GDBusConnection> m_bus;
    Owned<ESourceRegistry> m_registry;
    /// Who stood behind the service's name when it was asked for the lists.
    QByteArray m_owner;
    std::map<std::pair<Kind, QString>, std::unique_ptr<EdsClient>> m_clients;
    std::function<void()> m_changed;
};

}  // namespace lumbro::eds
