#include "platform/linux/desktop/OpenOrganizer.h"

#include "platform/linux/desktop/VdirCalendar.h"

namespace lumbro {

std::unique_ptr<Organizer> openOrganizer(Settings& settings, Clock& clock) {
    return std::make_unique<VdirCalendar>(settings, clock);
}

}  // namespace lumbro
