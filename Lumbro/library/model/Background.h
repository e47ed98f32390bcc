#pragma once

#include "LumbroCore/Task.h"

#include <QObject>

namespace lumbro {

/// Counts the flows that run on by themselves, so that someone can wait for their end. Main thread.
class Background final : public QObject {
    Q_OBJECT

  public:
    /// Lets the flow run on. What it refers to must outlive it or be checked by it.
    void run(Task<>&& flow);
    /// Done when no flow runs.
    Task<> settled();
    bool isIdle() const { return m_running == 0; }

  Q_SIGNALS:
    void idle();

  private:
    Task<> count(Task<> flow);

    int m_running = 0;
};

}  // namespace lumbro
