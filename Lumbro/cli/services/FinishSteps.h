#pragma once

#include "LumbroCore/Clock.h"
#include "cli/Output.h"

#include <QString>

#include <functional>

namespace lumbro::cli {

/// Shows that work goes on: on a terminal a line with the seconds it has taken, else a line a step.
class FinishSteps final {
  public:
    FinishSteps(Output& output, Clock& clock) : m_output(output), m_clock(clock) {}

    /// A step begins; the one before is over. `detail` tells how it goes: on a terminal each second,
    /// elsewhere once, when the step takes long. It may be empty, or have nothing to tell.
    void begin(const QString& text, std::function<QString()> detail = {});
    /// Nothing is under way any more.
    void end();

  private:
    void tellDetail();
    void update();

    Output& m_output;
    Clock& m_clock;
    QString m_text;
    std::function<QString()> m_detail;
    Clock::Duration m_start{0};
    Timer m_timer;
};

}  // namespace lumbro::cli
