// inbox/<engine>/seen.txt: which contents are done, and the line that is added to it.
#include "engines/formats/InboxSeen.h"

#include "Check.h"

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes = fuzz::bytes(data, size);
    const QMap<QString, QString> before = inboxSeen::parse(bytes);
    for (auto it = before.begin(); it != before.end(); ++it) {
        fuzz::check(it.key().size() == 64 && !it->isEmpty() && !it->contains(u'\n'));
    }
    const QString hash(64, u'f');
    const auto added = inboxSeen::with(bytes, hash, QStringLiteral("2026-03-02-091405-a"));
    fuzz::check(added.has_value() && added->startsWith(bytes));
    QMap<QString, QString> after = before;
    after.insert(hash, QStringLiteral("2026-03-02-091405-a"));
    fuzz::check(inboxSeen::parse(*added) == after);
    // Whatever a run is called, its line is read back or not written.
    const QString name = QString::fromUtf8(bytes);
    if (const auto line = inboxSeen::with({}, hash, name)) {
        fuzz::check(inboxSeen::parse(*line) == (QMap<QString, QString>{{hash, name}}));
    }
    return 0;
}
