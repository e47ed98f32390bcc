#include "platform/linux/desktop/ReadBack.h"

#include "platform/linux/desktop/IcalBudget.h"
#include "platform/linux/desktop/IcalFile.h"

namespace lumbro::readBack {

namespace {

bool isSame(const CalendarEvent& there, const NewCalendarEvent& event) {
    return there.title == IcalFile::textAsRead(event.title) &&
           there.start.toSecsSinceEpoch() == event.start.toSecsSinceEpoch() &&
           there.end.toSecsSinceEpoch() == event.end.toSecsSinceEpoch();
}

}  // namespace

std::optional<QString> idOf(const QByteArray& file, const NewCalendarEvent& event) {
    std::vector<IcalOccurrence> found;
    IcalBudget budget = IcalBudget::forReading();
    IcalFile::read(file, {}).addOccurrences(event.start.toSecsSinceEpoch(), event.end.toSecsSinceEpoch(),
                                            budget, found);
    const bool isThere = found.size() == 1 && isSame(found.front().event(), event);
    return isThere ? std::optional(found.front().about->id) : std::nullopt;
}

std::optional<CalendarTask> taskOf(const QByteArray& file, const CalendarTask& task) {
    const QList<CalendarTask> found = IcalFile::read(file, {}).tasks();
    const bool isThere = found.size() == 1 && found.first().title == IcalFile::textAsRead(task.title) &&
                         found.first().due == task.due;
    return isThere ? std::optional(found.first()) : std::nullopt;
}

}  // namespace lumbro::readBack
