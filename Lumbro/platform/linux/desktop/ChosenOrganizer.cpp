#include "platform/linux/desktop/ChosenOrganizer.h"

#include "LumbroCore/LockedUpdate.h"
#include "platform/linux/desktop/CalendarModule.h"
#include "platform/linux/desktop/EvolutionCalendar.h"
#include "platform/linux/desktop/VdirCalendar.h"

#include <QFile>
#include <QFileInfo>
#include <QMetaMethod>

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

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

namespace {

/// Why a folder can't be locked, though it is there; empty where it can.
QString whyNoLock(const QString& folder) {
    const int opened = open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (opened < 0) {
        return qt_error_string(errno);
    }
    close(opened);
    return {};
}

}  // namespace

/// The lock is on the calendars' own folder, which is the same whatever settings a process has; Evolution has
/// none, so there it is on that of the settings.
Task<Result<AddingTurn>> ChosenOrganizer::beginAdding() {
    constexpr auto pause = 20ms;
    constexpr auto most = 10s;
    const bool isEvolution = m_settings.string(u"calendarSource"_s) == u"evolution";
    const QString folder = isEvolution ? QFileInfo(m_settings.path()).absolutePath() : now().place();
    Clock* const clock = &m_clock;
    const auto end = clock->elapsed() + most;
    while (QFileInfo(folder).isReadable()) {
        if (const auto lock = std::make_shared<FolderLock>(folder, 0ms); lock->isLocked()) {
            co_return AddingTurn{lock};
        }
        if (const QString why = whyNoLock(folder); !why.isEmpty()) {
            co_return fail(u"Nothing was added: can't open the folder %1: %2."_s.arg(folder, why));
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
