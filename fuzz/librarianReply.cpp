// What a model proposes for the memory: read whole or not at all, also from inside other text.
#include "Check.h"
#include "memory/formats/LibrarianOps.h"

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString text = QString::fromUtf8(fuzz::bytes(data, size));
    const auto ops = LibrarianOps::decode(text);
    fuzz::check(!ops || (text.contains(u'{') && text.contains(u'}')));
    fuzz::check(LibrarianOps::decode(QStringLiteral("Here it is:\n") + text + QStringLiteral("\nDone.")) ==
                ops);
    return 0;
}
