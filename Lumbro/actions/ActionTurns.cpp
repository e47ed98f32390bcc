#include "actions/ActionTurns.h"

#include <utility>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

/// Each process looks for a place every second.
constexpr auto longestHesitation = 5s;

}  // namespace

void ActionTurns::join(const QString& id, const ActionFiles::IsOurs& isOurs) {
    m_before.insert(id, m_files.waiting(isOurs));
}

bool ActionTurns::take(const QString& id) {
    if (isHeldBack(id)) {
        return false;
    }
    auto place = m_files.takePlace(mostRunning);
    if (!place) {
        return false;
    }
    m_places.emplace(id, std::move(*place));
    m_before.remove(id);
    m_freeSince.reset();
    return true;
}

void ActionTurns::leave(const QString& id) {
    m_places.erase(id);
    m_before.remove(id);
}

bool ActionTurns::isHeldBack(const QString& id) {
    QStringList& before = m_before[id];
    before.removeIf([this](const QString& each) { return !m_files.isWaiting(each); });
    if (before.isEmpty() || !m_files.hasPlace(mostRunning)) {
        m_freeSince.reset();
        return !before.isEmpty();
    }
    m_freeSince = m_freeSince.value_or(m_clock.elapsed());
    return m_clock.elapsed() - *m_freeSince < longestHesitation;
}

}  // namespace lumbro
