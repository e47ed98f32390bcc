#include "ask/formats/AskTarget.h"

#include "LumbroCore/Literals.h"

#include <QStringList>

#include <algorithm>

namespace lumbro {

std::optional<AskTarget> AskTarget::forAction(const QString& action, const QList<AskConnector>& usable) {
    static const QStringList mailWords{u"mail"_s, u"email"_s, u"apple mail"_s};
    static const QStringList calendarWords{u"calendar"_s, u"apple calendar"_s, u"ical"_s};
    const QString word = action.toLower();
    if (word.contains(u"remind")) {
        return AskTarget{Kind::reminders};
    }
    if (mailWords.contains(word)) {
        return AskTarget{Kind::mail};
    }
    if (calendarWords.contains(word)) {
        return AskTarget{Kind::calendar};
    }
    const auto fits = [&](const AskConnector& connector) {
        return connector.app.toLower() == word || (!word.isEmpty() && connector.id.toLower().contains(word));
    };
    const auto found = std::ranges::find_if(usable, fits);
    return found == usable.end() ? std::nullopt : std::optional(AskTarget{Kind::connector, *found});
}

}  // namespace lumbro
