#include "platform/linux/desktop/ChosenOrganizer.h"

#include "LumbroCore/LockedUpdate.h"
#include "platform/linux/desktop/CalendarModule.h"
#include "platform/linux/desktop/EvolutionCalendar.h"
#include "platform/linux/desktop/VdirCalendar.h"

#include <QFileInfo>
#include <QMetaMethod>

#include <utility>

namespace lumbro {

using namespace std::chrono_literals;

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

/// The lock is on the folder of the settings, which is the same for all calendars.
Task<Result<AddingTurn>> ChosenOrganizer::beginAdding() {
    constexpr auto pause = 20ms;
    constexpr auto most = 10s;
    const QString folder = QFileInfo(m_settings.path()).absolutePath();
    Clock* const clock = &m_clock;
    const auto end = clock->elapsed() + most;
    while (QFileInfo(folder).isReadable()) {
        if (const auto lock = std::make_shared<FolderLock>(folder, 0ms); lock->isLocked()) {
            co_return AddingTurn{lock};
        }
        if (clock->elapsed() >= end) {
            co_return fail(
                FailureKind::timedOut,
                u"Another Lumbro is adding to your calendar or tasks; try again when it is done."_s);
        }
        co_await clock->sleep(pause);
    }
    co_return AddingTurn();
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
