// Texts of chats: whatever stands around a key or a token, it is hidden.
#include "Check.h"
#include "chats/formats/ChatText.h"
#include "chats/formats/Redact.h"

#include <array>

using namespace lumbro;

namespace {

/// Letters and digits as in a key, made here so that no scanner takes this file for a leak.
QString run(qsizetype length) {
    return QStringLiteral("Zx81kQp0VbW2LmN4").repeated(length / 16 + 1).first(length);
}

QString secret(uint8_t choice) {
    const std::array secrets{QStringLiteral("sk-ant-") + run(40),        QStringLiteral("ghp_") + run(36),
                             QStringLiteral("AKIA") + run(16).toUpper(), QStringLiteral("AIza") + run(35),
                             QStringLiteral("npm_") + run(36),           QStringLiteral("xoxb-") + run(24)};
    return secrets[choice % secrets.size()];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 2) {
        return 0;
    }
    const QString hidden = secret(data[0]);
    const QString text = QString::fromUtf8(fuzz::bytes(data + 2, size - 2));
    const qsizetype at = text.size() * data[1] / 255;
    const QString around = text.first(at) + u'\n' + hidden + u'\n' + text.sliced(at);
    fuzz::check(!Redact::secrets(around).contains(hidden));
    fuzz::check(!chatText::tidy(around).contains(hidden));
    return 0;
}
