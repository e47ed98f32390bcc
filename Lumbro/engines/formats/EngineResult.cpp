#include "engines/formats/EngineResult.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"

#include <QStringList>

namespace lumbro {

EngineResult EngineResult::parsing(const std::optional<QString>& value) {
    const QString word = trimmedBlanks(value.value_or(QString())).toString().toLower();
    if (word.startsWith(u"action")) {
        const qsizetype colon = word.indexOf(u':');
        const QString app =
            colon < 0 ? QString() : trimmedBlanks(QStringView(word).sliced(colon + 1)).toString();
        return app.isEmpty() ? handoff() : action(app);
    }
    return word == u"chat" ? chat() : handoff();
}

QString EngineResult::text() const {
    switch (kind) {
        case Kind::action:
            return u"action: "_s + app;
        case Kind::chat:
            return u"chat"_s;
        case Kind::handoff:
            break;
    }
    return u"handoff"_s;
}

QString EngineResult::appName(const QString& id) {
    const QString lower = id.toLower();
    if (lower == u"mail" || lower == u"email") {
        return u"Mail"_s;
    }
    QStringList words = lower.split(u' ', Qt::SkipEmptyParts);
    for (QString& word : words) {
        word = word.first(1).toUpper() + word.sliced(1);
    }
    return words.join(u' ');
}

}  // namespace lumbro
