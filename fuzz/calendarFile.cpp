// A calendar file: reading and expanding end in bounded time, occurrences touch the time that was asked for,
// and any title can be written into a file of its own.
#include "Check.h"
#include "platform/linux/desktop/IcalBudget.h"
#include "platform/linux/desktop/IcalFile.h"
#include "platform/linux/desktop/IcalOutline.h"

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr qint64 from = 1'772'323'200;  // March 1, 2026
    constexpr qint64 to = from + qint64(40) * 86400;
    const IcalFile file = IcalFile::read(fuzz::bytes(data, size), QStringLiteral("me@example.org"));
    std::vector<IcalOccurrence> found;
    IcalBudget budget = IcalBudget::forReading().share();
    file.addOccurrences(from, to, budget, found);
    fuzz::check(found.empty() || IcalOutline::of(fuzz::bytes(data, size)).mayTouch(from, to));
    for (const IcalOccurrence& occurrence : found) {
        const CalendarEvent event = occurrence.event();
        fuzz::check(event.start <= event.end && event.start.toSecsSinceEpoch() < to &&
                    event.end.toSecsSinceEpoch() >= from);
        const QDateTime stamp = QDateTime::fromSecsSinceEpoch(from);
        const QByteArray written =
            IcalFile::written(CalendarTask{.title = event.title}, QStringLiteral("one"), stamp);
        const IcalFile again = IcalFile::read(written, {});
        fuzz::check(again.isWhole() && again.tasks().size() == 1);
    }
    return 0;
}
