#include "cli/services/FinishSteps.h"

#include <utility>

namespace lumbro::cli {

using namespace std::chrono_literals;

namespace {

// Most steps are over before anybody wonders.
constexpr auto toldAfter = 2s;

}  // namespace

void FinishSteps::begin(const QString& text, std::function<QString()> detail) {
    m_timer.stop();
    m_detail = std::move(detail);
    if (!m_output.showsProgress()) {
        m_output.say(text);
        if (m_detail) {
            m_timer.start(m_clock, toldAfter, Clock::Repeat::once, [this] { tellDetail(); });
        }
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

void FinishSteps::tellDetail() {
    if (const QString detail = m_detail(); !detail.isEmpty()) {
        m_output.say(detail);
    }
}

void FinishSteps::update() {
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(m_clock.elapsed() - m_start).count();
    const QString time = seconds > 0 ? u"  %1 s"_s.arg(seconds) : QString();
    const QString detail = m_detail && seconds > 0 ? m_detail() : QString();
    m_output.show(m_text +
                  m_output.styledError(time + (detail.isEmpty() ? detail : u"  "_s + detail), Look::dim));
}

}  // namespace lumbro::cli
