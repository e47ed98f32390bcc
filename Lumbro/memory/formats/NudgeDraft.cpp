#include "memory/formats/NudgeDraft.h"

#include "LumbroCore/Literals.h"

namespace lumbro {

NudgeDraft NudgeDraft::of(const PromiseItem& promise, const std::optional<QString>& recipient) {
    const QString name = promise.otherName().section(u' ', 0, 0, QString::SectionSkipEmpty);
    QString text = promise.text;
    if (!text.isEmpty()) {
        text[0] = text[0].toLower();
    }
    return {.recipient = recipient,
            .subject = u"Quick follow-up"_s,
            .body = u"Hi "_s + name + u",\n\nFollowing up on this: you said you'd "_s + text +
                    u". Any update?\n\nThanks!"_s};
}

}  // namespace lumbro
