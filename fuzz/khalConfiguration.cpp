// khal's configuration: a folder belongs to the calendar that is named, and both are of one line.
#include "platform/linux/desktop/KhalConfiguration.h"

#include "Check.h"

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const KhalConfiguration found = KhalConfiguration::read(fuzz::bytes(data, size));
    fuzz::check(found.path.isEmpty() || !found.defaultCalendar.isEmpty());
    for (const QString& value : {found.defaultCalendar, found.path}) {
        fuzz::check(!value.contains(QChar(u'\n')));
    }
    return 0;
}
