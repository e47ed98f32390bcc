// The lines of promises.md and ideas.md: what was read comes back the same once it has been written.
#include "Check.h"
#include "memory/formats/IdeaItem.h"
#include "memory/formats/PromiseDates.h"
#include "memory/formats/PromiseItem.h"

using namespace lumbro;

namespace {

template <typename Item>
void checkWritten(const Item& item) {
    const auto once = Item::parse(item.line());
    fuzz::check(once.has_value() && once->id == item.id);
    const auto twice = Item::parse(once->line());
    fuzz::check(twice.has_value() && *twice == *once);
}

void readPromise(const PromiseItem& promise) {
    const QDate today(2026, 3, 2);
    promise.urgency(today);
    promise.dueText(today);
    promise.ageText(today);
    promise.otherSlug();
    promise.involvesSlugs();
    checkWritten(promise);
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
