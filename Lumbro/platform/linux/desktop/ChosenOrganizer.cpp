#include "platform/linux/desktop/ChosenOrganizer.h"

#include "platform/linux/desktop/CalendarModule.h"
#include "platform/linux/desktop/EvolutionCalendar.h"
#include "platform/linux/desktop/VdirCalendar.h"

#include <QMetaMethod>

#include <utility>

namespace lumbro {

ChosenOrganizer::ChosenOrganizer(Settings& settings, Clock& clock) : m_settings(settings), m_clock(clock) {}

ChosenOrganizer::~ChosenOrganizer() = default;

Organizer& ChosenOrganizer::now() const {
    const bool isEvolution = m_settings.string(u"calendarSource"_s) == u"evolution";
    std::unique_ptr<Organizer>& chosen = isEvolution ? m_evolution : m_folder;
    if (!chosen) {
        if (isEvolution) {
            chosen = std::make_unique<EvolutionCalendar>(
                m_settings, m_clock, [] { return calendarModule::load(calendarModule::places()); });
        } else {
            chosen = std::make_unique<VdirCalendar>(m_settings, m_clock);
        }
        if (m_isWatched) {
            follow(chosen.get());
        }
    }
    return *chosen;
}

void ChosenOrganizer::follow(Organizer* organizer) const {
    connect(organizer, &CalendarStore::changed, this, &CalendarStore::changed);
}

void ChosenOrganizer::connectNotify(const QMetaMethod& signal) {
    if (signal != QMetaMethod::fromSignal(&CalendarStore::changed) || std::exchange(m_isWatched, true)) {
        return;
    }
    for (Organizer* organizer : {m_folder.get(), m_evolution.get()}) {
        if (organizer != nullptr) {
            follow(organizer);
        }
    }
}

}  // namespace lumbro
