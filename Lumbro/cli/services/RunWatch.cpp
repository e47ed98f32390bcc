#include "cli/services/RunWatch.h"

#include <utility>

namespace lumbro::cli {

RunWatch::RunWatch(ActionRunner& runner, FinishSteps& steps, ActionRun run)
    : m_runner(runner), m_steps(steps), m_run(std::move(run)) {
    connect(&m_runner, &ActionRunner::runsChanged, this, &RunWatch::look);
    look();
}

void RunWatch::look() {
    const bool wasLive = m_run.isLive();
    m_run = m_runner.run(m_run.id).value_or(m_run);
    if (m_run.isLive() && std::exchange(m_title, m_run.title()) != m_run.title()) {
        m_steps.begin(Output::clean(m_title));
    }
    if (wasLive && !m_run.isLive()) {
        m_steps.end();
        Q_EMIT ended();
    }
}

}  // namespace lumbro::cli
