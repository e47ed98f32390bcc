// A line of a transcript: what the scanner takes for JSON is JSON, and says the same as the general reader.
#include "chats/formats/ChatLine.h"

#include "Check.h"
#include "LumbroCore/Text.h"
#include "chats/formats/ChatText.h"

#include <QJsonDocument>
#include <QJsonObject>

using namespace lumbro;

namespace {

/// The general reader refuses numbers beyond its range, which are JSON all the same.
bool hasLargeNumber(const QByteArray& bytes) {
    constexpr qsizetype manyDigits = 300;
    qsizetype run = 0;
    for (const char c : bytes) {
        if ((c == 'e' || c == 'E') && run > 0) {
            return true;
        }
        run = c >= '0' && c <= '9' ? run + 1 : 0;
        if (run > manyDigits) {
            return true;
        }
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes = fuzz::bytes(data, size);
    const auto line = ChatLine::parse(bytes);
    if (!line) {
        return 0;
    }
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    if (hasLargeNumber(bytes)) {
        return 0;
    }
    fuzz::check(document.isObject());
    const QJsonObject object = document.object();
    // Of a key that stands twice, the readers may take different ones.
    if (bytes.count("uuid") == 1 && !bytes.contains("\\u")) {
        fuzz::check(line->id == object[QStringLiteral("uuid")].toString());
    }
    fuzz::check(firstCharacters(chatText::tidy(line->prompt.value_or(QString())), 1200).size() <= 1200 * 16);
    return 0;
}
