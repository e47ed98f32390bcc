#include "cli/services/FinishSteps.h"

namespace lumbro::cli {

using namespace std::chrono_literals;

void FinishSteps::begin(const QString& text) {
    if (!m_output.showsProgress()) {
        m_output.say(text);
        return;
    }
    m_text = text;
    m_start = m_clock.elapsed();
    m_timer.start(m_clock, 1s, Clock::Repeat::always, [this] { update(); });
    update();
}

void FinishSteps::end() {
    m_timer.stop();
    m_output.clearShown();
}

void FinishSteps::update() {
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(m_clock.elapsed() - m_start).count();
    const QString time = seconds > 0 ? u"  %1 s"_s.arg(seconds) : QString();
    m_output.show(m_text + m_output.styledError(time, Look::dim));
}

}  // namespace lumbro::cli
