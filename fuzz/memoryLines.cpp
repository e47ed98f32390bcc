// The lines of promises.md and ideas.md: whatever stands in one, it is found again by its id once it has been
// written.
#include "Check.h"
#include "memory/formats/IdeaItem.h"
#include "memory/formats/PromiseDates.h"
#include "memory/formats/PromiseItem.h"

using namespace lumbro;

namespace {

template <typename Item>
void checkWritten(const Item& item) {
    const auto again = Item::parse(item.line());
    fuzz::check(again.has_value() && again->id == item.id);
}

void readPromise(const PromiseItem& promise) {
    const QDate today(2026, 3, 2);
    promise.urgency(today);
    promise.dueText(today);
    promise.ageText(today);
    promise.otherSlug();
    promise.involvesSlugs();
    checkWritten(promise);
    fuzz::check(PromiseItem::parse(promise.line())->done == promise.done);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString text = QString::fromUtf8(fuzz::bytes(data, size));
    const QStringList lines = text.split(u'\n');
    for (const QString& line : lines) {
        if (const auto promise = PromiseItem::parse(line)) {
            readPromise(*promise);
        }
        if (const auto idea = IdeaItem::parse(line)) {
            checkWritten(*idea);
        }
        const auto day = PromiseDates::parse(line, QDate(2024, 2, 29), QDate(2026, 3, 2));
        fuzz::check(!day || day->isValid());
    }
    return 0;
}
