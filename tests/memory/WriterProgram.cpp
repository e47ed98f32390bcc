// Adds to a memory as one of several processes do at once.
//
//   memory-writer LIBRARY MARK COUNT
//
// Each of COUNT rounds adds a fact to one page, a promise and an idea, all named after MARK and the round.

#include "LumbroCore/Settings.h"
#include "library/ContextLibrary.h"
#include "memory/MemoryStore.h"
#include "tests/support/Wait.h"

#include <QCoreApplication>

namespace lumbro::test {
namespace {

int write(const QStringList& arguments) {
    SystemClock clock;
    const Settings settings(arguments.value(1) + u"/settings.ini"_s);
    ContextLibrary library(arguments.value(1), clock);
    MemoryStore memory(library, clock, settings);
    memory.bootstrap();
    CaptureRecord record{.folder = u"/captures/2026-03-02-1430-meeting"_s, .meta = {}};
    record.meta.startedAt = QDateTime(QDate(2026, 3, 2), QTime(14, 30));
    for (int i = 0; i < arguments.value(3).toInt(); ++i) {
        const QString mark = u"%1-%2"_s.arg(arguments.value(2)).arg(i);
        LibrarianOps ops;
        ops.people.resize(1);
        ops.people[0].name = u"Dana Kim"_s;
        ops.people[0].about = QStringList{mark};
        ops.promises = {{u"Me"_s, std::nullopt, mark, std::nullopt}};
        ops.ideas = {{mark, std::nullopt}};
        if (!wait(memory.apply(ops, record))) {
            return 1;
        }
    }
    return 0;
}

}  // namespace
}  // namespace lumbro::test

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    return lumbro::test::write(QCoreApplication::arguments());
}
