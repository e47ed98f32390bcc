#include "platform/CalendarStore.h"

#include <algorithm>

namespace lumbro {

bool CalendarEvent::isDeclinedByUser() const {
    return std::ranges::any_of(attendees, [](const CalendarAttendee& attendee) {
        return attendee.isCurrentUser && attendee.answer == CalendarAttendee::Answer::declined;
    });
}

Task<CalendarAccess> CalendarStore::open() {
    co_return access();
}

Task<Result<AddingTurn>> CalendarStore::beginAdding() {
    co_return AddingTurn();
}

}  // namespace lumbro
