#pragma once

#include <QObject>
#include <QSocketNotifier>

#include <array>
#include <memory>

namespace lumbro {

/// Turns SIGINT, SIGTERM and SIGHUP into a Qt signal on the main thread. One at a time per process; the
/// default behaviour comes back with its end.
class QuitSignals final : public QObject {
    Q_OBJECT

  public:
    QuitSignals();
    ~QuitSignals() override;

  Q_SIGNALS:
    void quitRequested();

  private:
    void drain();

    std::array<int, 2> m_pipe{-1, -1};
    std::unique_ptr<QSocketNotifier> m_notifier;
};

}  // namespace lumbro
