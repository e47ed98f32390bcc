// session.json of an imported chat, and what is made of it for people.
#include "chats/formats/SessionLog.h"

#include "Check.h"

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto entries = SessionLog::decode(fuzz::bytes(data, size));
    if (!entries) {
        return 0;
    }
    const QByteArray written = SessionLog::encode(*entries);
    const auto again = SessionLog::decode(written);
    fuzz::check(again && SessionLog::encode(*again) == written);
    fuzz::check(SessionLog::markdown(*entries, QStringLiteral("Title")).startsWith(u"# Title"));
    qsizetype count = 0;
    for (const SessionEntries& chat : SessionLog::grouped(*entries)) {
        fuzz::check(!chat.isEmpty());
        count += chat.size();
    }
    fuzz::check(count == entries->size());
    return 0;
}
