#pragma once

#include "platform/CalendarService.h"
#include "platform/eds/EdsRegistry.h"
#include "platform/eds/GlibPointer.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

namespace lumbro::eds {

/// The calendars of GNOME's applications, which Evolution Data Server keeps.
class EdsService final : public CalendarService {
  public:
    EdsService();
    ~EdsService() override;

    void post(std::function<void(CalendarService& service)> work) override;
    void cancel() override;

    Result<ServiceLists> lists() override;
    Result<ServiceItems> events(const QString& calendar, qint64 from, qint64 to) override;
    Result<ServiceItems> tasks(const QString& list) override;
    Result<QList<QByteArray>> add(Kind kind, const QString& list, const QList<QByteArray>& files) override;
    Result<ServiceList> makeTaskList(const QString& title) override;
    Result<> renameTaskList(const QString& list, const QString& title) override;
    void watch(std::function<void()> changed) override;

  private:
    struct Job;

    void run();
    void begin(uint64_t number);
    Result<ServiceItems> find(Kind kind, const QString& list, const QByteArray& query);
    Result<QList<QByteArray>> addOnce(Kind kind, const QString& list, const QList<QByteArray>& files);
    Result<QList<QByteArray>> readBack(Kind kind, const QString& list, const QList<QByteArray>& ids);
    void takeBack(Kind kind, const QString& list, const QList<QByteArray>& ids);

    GMainContext* m_context;
    GMainLoop* m_loop;
    /// Of the thread alone.
    std::unique_ptr<EdsRegistry> m_registry = std::make_unique<EdsRegistry>();
    GCancellable* m_cancel = nullptr;

    std::mutex m_mutex;
    /// What the work that runs now can be cancelled by; changes under the mutex.
    Owned<GCancellable> m_running;
    uint64_t m_posted = 0;
    /// What was posted up to here fails.
    uint64_t m_cancelled = 0;
    bool m_isClosing = false;
    std::thread m_thread;
};

}  // namespace lumbro::eds
