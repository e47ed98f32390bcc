// A page of the memory, written by people and models alike: what was read is rendered as it stood, and a
// change can be read again.
#include "Check.h"
#include "memory/formats/MarkdownDoc.h"
#include "memory/formats/MemoryEntity.h"

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Blank lines above all are no part of a page; without them a block of fields may come to its beginning.
    const QString text = MarkdownDoc::parse(QString::fromUtf8(fuzz::bytes(data, size))).render();
    MarkdownDoc page = MarkdownDoc::parse(text);
    fuzz::check(text.endsWith(u'\n') && page.render() == text);

    const QString key = QStringLiteral("fuzzed");
    const QString value = QStringLiteral("a value");
    page.setField(key, value);
    page.appendBullet(QStringLiteral("the newest"), QStringLiteral("Timeline"));
    const MarkdownDoc changed = MarkdownDoc::parse(page.render());
    fuzz::check(changed.field(key) == value);
    const QStringList bullets = changed.bullets(u"Timeline");
    fuzz::check(!bullets.isEmpty() && bullets.last() == QStringLiteral("the newest"));

    for (const auto kind : {MemoryEntity::Kind::person, MemoryEntity::Kind::project}) {
        MemoryEntity::parse(kind, QStringLiteral("jane-doe"), QStringLiteral("/jane-doe.md"), text);
    }
    return 0;
}
