#include "tests/support/Wait.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>

namespace lumbro::test {

void processEvents() {
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds bound) {
    // The timer only wakes the loop up, so that conditions which no event announces are seen.
    QTimer wake;
    wake.start(std::chrono::milliseconds(5));
    QElapsedTimer elapsed;
    elapsed.start();
    while (!condition()) {
        if (elapsed.hasExpired(bound.count())) {
            return false;
        }
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

}  // namespace lumbro::test
