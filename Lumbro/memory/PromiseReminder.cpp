#include "memory/PromiseReminder.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Dates.h"
#include "memory/DailyPass.h"
#include "memory/MemoryStore.h"

#include <algorithm>
#include <utility>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

constexpr auto interval = 120s;
const QString lastDay = u"promiseRemindersLastDay"_s;

QStringList idsOf(const QList<PromiseItem>& promises) {
    QStringList ids;
    std::ranges::transform(promises, std::back_inserter(ids), &PromiseItem::id);
    return ids;
}

/// Some of the promises may be missing.
bool isAnyLost(const MemoryStore& memory) {
    const QStringList places{memory.root(), memory.root() + u"/promises.md"_s};
    return std::ranges::any_of(memory.faults(),
                               [&places](const MemoryFault& fault) { return places.contains(fault.path); });
}

}  // namespace

PromiseReminder::PromiseReminder(Ports ports) : m_ports(std::move(ports)) {}

void PromiseReminder::start() {
    m_timer.start(m_ports.clock, interval, Clock::Repeat::always, [this] { tick(); });
    tick();
}

void PromiseReminder::tick() {
    const QDateTime now = m_ports.clock.now();
    const Settings& settings = m_ports.settings;
    if (!settings.boolean(u"promiseRemindersEnabled"_s) ||
        dailyPass::minuteOfDay(now) < settings.integer(u"promiseRemindersMinute"_s) ||
        dailyPass::isSpent(now, settings.string(lastDay), m_spentDay)) {
        return;
    }
    const QStringList ids = idsOf(m_ports.memory.duePromises(false));
    m_spentDay = dates::day(now);
    m_ports.settings.set(lastDay, m_spentDay);
    if (!ids.isEmpty()) {
        AppLog::info(u"promises"_s, u"reminding about %1 promises"_s.arg(ids.size()));
        m_ports.present(ids);
    }
}

QStringList PromiseReminder::remindNow() {
    m_ports.memory.reload(false);
    const QStringList ids = idsOf(m_ports.memory.duePromises(true));
    if (ids.isEmpty()) {
        m_ports.say(isAnyLost(m_ports.memory) ? u"Nothing is due of the promises that could be read."_s
                                              : u"Nothing due. You're all caught up."_s);
    } else {
        m_ports.present(ids);
    }
    return ids;
}

}  // namespace lumbro
