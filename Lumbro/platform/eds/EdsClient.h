#pragma once

#include "platform/CalendarService.h"
#include "platform/eds/GlibPointer.h"

#include <functional>
#include <map>
#include <memory>
#include <set>

#include <libecal/libecal.h>

namespace lumbro::eds {

/// One calendar or list of tasks, open. On the thread of the service; a call that is cancelled fails.
class EdsClient {
  public:
    static Result<std::unique_ptr<EdsClient>> open(ESource* source, CalendarService::Kind kind,
                                                   GCancellable* cancel);
    ~EdsClient();
    EdsClient(const EdsClient&) = delete;
    EdsClient& operator=(const EdsClient&) = delete;

    /// Calls `changed` whenever something in it changes, or its program ends.
    void watch(const std::function<void()>& changed, GCancellable* cancel);
    /// The user's address in it; may be empty.
    const QString& ownEmail() const { return m_ownEmail; }

    /// What the query of Evolution Data Server finds, each item as a calendar file.
    Result<QList<QByteArray>> find(const QByteArray& query, GCancellable* cancel);
    /// The item with this id as a calendar file.
    Result<QByteArray> file(const QByteArray& id, GCancellable* cancel);
    /// Adds the items of calendar files, and tells under which ids.
    Result<QList<QByteArray>> add(const QList<QByteArray>& files, GCancellable* cancel);
    void remove(const QByteArray& id, GCancellable* cancel);

  private:
    /// What one id stands for.
    struct Item {
        QByteArray text;
        std::set<QByteArray> zones;
        bool isSeries = false;

        void add(ICalComponent* component);
    };

    explicit EdsClient(Owned<EClient> client) : m_client(std::move(client)) {}

    ECalClient* calendar() const { return E_CAL_CLIENT(m_client.get()); }
    Result<Item> whole(const QByteArray& id, GCancellable* cancel);
    QByteArray fileOf(const Item& item, GCancellable* cancel);
    QByteArray zone(const QByteArray& id, GCancellable* cancel);

    Owned<EClient> m_client;
    Owned<ECalClientView> m_view;
    std::function<void()> m_changed;
    QString m_ownEmail;
    std::map<QByteArray, QByteArray> m_zones;
};

}  // namespace lumbro::eds
