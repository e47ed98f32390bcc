#include "platform/linux/desktop/OpenOrganizer.h"

#include "platform/linux/desktop/ChosenOrganizer.h"

namespace lumbro {

std::unique_ptr<Organizer> openOrganizer(Settings& settings, Clock& clock) {
    return std::make_unique<ChosenOrganizer>(settings, clock);
}

}  // namespace lumbro
