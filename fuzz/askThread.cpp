// The file of a conversation: its turns come back the same once it has been written. A title may lose blanks
// and quotation marks at its ends.
#include "Check.h"
#include "ask/formats/AskThreadFile.h"

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString path = QStringLiteral("/asks/20260302-091405-what.md");
    const auto written = [](const AskThread& thread) {
        return QString::fromUtf8(askThreadFile::write(thread));
    };
    const AskThread thread = askThreadFile::read(QString::fromUtf8(fuzz::bytes(data, size)), path, {});
    const AskThread again = askThreadFile::read(written(thread), path, {});
    fuzz::check(again.turns.size() == thread.turns.size() && again.scope == thread.scope);
    const AskThread third = askThreadFile::read(written(again), path, {});
    fuzz::check(third.turns == again.turns && third.created == again.created);
    return 0;
}
