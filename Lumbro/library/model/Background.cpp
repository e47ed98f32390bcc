#include "library/model/Background.h"

#include "LumbroCore/NextSignal.h"

#include <QPointer>

namespace lumbro {

void Background::run(Task<>&& flow) {
    runDetached(count(std::move(flow)));
}

Task<> Background::settled() {
    while (m_running > 0) {
        co_await nextSignal(this, &Background::idle);
    }
}

Task<> Background::count(Task<> flow) {
    const QPointer<Background> alive(this);
    ++m_running;
    co_await flow;
    if (alive && --m_running == 0) {
        Q_EMIT idle();
    }
}

}  // namespace lumbro
