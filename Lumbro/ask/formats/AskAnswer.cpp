#include "ask/formats/AskAnswer.h"

#include "ask/formats/EventLines.h"

namespace lumbro {

QString AskAnswer::displayText() const {
    return action && eventLines::holdsEvent(text) ? eventLines::removed(text) : text;
}

QStringList AskAnswer::captureIDs() const {
    QStringList ids;
    for (const AskSource& source : sources) {
        if (source.item.kind == SidebarItem::Kind::capture) {
            ids.append(source.item.id);
        }
    }
    return ids;
}

}  // namespace lumbro
