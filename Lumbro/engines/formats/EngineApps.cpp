#include "engines/formats/EngineApps.h"

#include "LumbroCore/Literals.h"
#include "engines/formats/EngineResult.h"

#include <QDir>

#include <algorithm>

namespace lumbro::EngineApps {

const QList<App>& all() {
    static const QString local = u"prepares it, you confirm before it's sent"_s;
    static const QString connector = u"connect it in Claude to use it"_s;
    static const QList<App> apps{
        {u"mail"_s, u"Mail"_s, u"envelope"_s, local},
        {u"reminders"_s, u"Reminders"_s, u"checklist"_s, local},
        {u"calendar"_s, u"Calendar"_s, u"calendar"_s, local},
        {u"slack"_s, u"Slack"_s, u"number"_s, connector},
        {u"linear"_s, u"Linear"_s, u"checklist"_s, connector},
        {u"notion"_s, u"Notion"_s, u"doc.richtext"_s, connector},
        {u"asana"_s, u"Asana"_s, u"checklist"_s, connector},
        {u"jira"_s, u"Jira"_s, u"checklist"_s, connector},
        {u"github"_s, u"GitHub"_s, u"chevron.left.forwardslash.chevron.right"_s, connector},
        {u"hubspot"_s, u"HubSpot"_s, u"person.crop.rectangle.stack"_s, connector},
        {u"gmail"_s, u"Gmail"_s, u"envelope"_s, connector},
    };
    return apps;
}

std::optional<App> app(const QString& id) {
    const auto found = std::ranges::find(all(), id.toLower(), &App::id);
    return found == all().end() ? std::nullopt : std::optional(*found);
}

QString name(const QString& id) {
    const QString lower = id.toLower();
    if (lower == u"reminders" || lower == u"calendar") {
        return lower == u"calendar" ? u"Calendar"_s : u"Reminders"_s;
    }
    return EngineResult::appName(id);
}

QString tilde(const QString& path) {
    const QString home = QDir::homePath();
    const bool isBelow = path == home || path.startsWith(home + u'/');
    return isBelow && home != u"/" ? u'~' + path.sliced(home.size()) : path;
}

}  // namespace lumbro::EngineApps
