#include "ask/formats/AskAnswer.h"

namespace lumbro {

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
