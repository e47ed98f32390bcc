#include "engines/AgentPresence.h"

namespace lumbro {

namespace {

Task<QString> noProblem() {
    co_return QString();
}

}  // namespace

Task<QString> AgentPresence::problem() const {
    return m_why ? m_why() : noProblem();
}

bool AgentPresence::note(const QString& problem) {
    if (!problem.isEmpty()) {
        m_restsUntil = m_clock.elapsed() + rest;
    }
    const bool isNew = !problem.isEmpty() && problem != m_known;
    m_known = problem;
    return isNew;
}

}  // namespace lumbro
