#include "recording/CallWatch.h"

#include "recording/CallApps.h"

#include <utility>

namespace lumbro {

CallWatch::Change CallWatch::look(const std::optional<QList<MicrophoneUser>>& users) {
    m_blindTicks = users ? 0 : m_blindTicks + 1;
    if (!users && m_blindTicks <= blindTicksBorne) {
        return {};
    }
    const auto found = callApps::onCall(users.value_or(QList<MicrophoneUser>()));
    if (found) {
        m_silentTicks = 0;
        const bool isNew = m_active != found;
        m_active = found;
        return {isNew ? found : std::nullopt, std::nullopt};
    }
    if (!m_active || ++m_silentTicks < silentTicksToEnd) {
        return {};
    }
    m_silentTicks = 0;
    return {std::nullopt, std::exchange(m_active, std::nullopt)};
}

}  // namespace lumbro
