#include "actions/formats/Connector.h"

#include "LumbroCore/Literals.h"
#include "actions/formats/ConnectorNames.h"

#include <algorithm>
#include <array>

namespace lumbro {

namespace {

/// The tool's own name, without that of its server.
QString ownName(const QString& tool, const QString& prefix) {
    return tool.startsWith(prefix) ? tool.sliced(prefix.size()) : tool.section(u"__"_s, -1);
}

const std::array<KnownApp, 16>& knownApps() {
    static const QString list = u"checklist"_s;
    static const QString cards = u"person.crop.rectangle.stack"_s;
    static const std::array<KnownApp, 16> apps{{
        {u"linear"_s, u"Linear"_s, list},
        {u"slack"_s, u"Slack"_s, u"number"_s},
        {u"notion"_s, u"Notion"_s, u"doc.richtext"_s},
        {u"asana"_s, u"Asana"_s, list},
        {u"jira"_s, u"Jira"_s, list},
        {u"atlassian"_s, u"Jira"_s, list},
        {u"clickup"_s, u"ClickUp"_s, list},
        {u"todoist"_s, u"Todoist"_s, list},
        {u"github"_s, u"GitHub"_s, u"chevron.left.forwardslash.chevron.right"_s},
        {u"hubspot"_s, u"HubSpot"_s, cards},
        {u"attio"_s, u"Attio"_s, cards},
        {u"gmail"_s, u"Gmail"_s, u"envelope"_s},
        {u"monday"_s, u"Monday"_s, list},
        {u"trello"_s, u"Trello"_s, list},
        {u"calendar"_s, u"Google Calendar"_s, u"calendar"_s},
        {u"drive"_s, u"Google Drive"_s, u"folder"_s},
    }};
    return apps;
}

}  // namespace

QString Connector::allow() const {
    return mcpPrefix(id);
}

bool Connector::isDestructive(const QString& tool) const {
    const QString name = ownName(tool, allow() + u"__"_s).toLower();
    return std::ranges::any_of(deletionWords(), [&](const QString& word) { return name.contains(word); });
}

QStringList Connector::destructiveTools() const {
    QStringList found;
    std::ranges::copy_if(tools, std::back_inserter(found),
                         [this](const QString& tool) { return isDestructive(tool); });
    return found;
}

QStringList Connector::deletionGuard() const {
    return deletionPatterns(allow()) + destructiveTools();
}

QString Connector::defaultInstruction() const {
    if (app == u"Slack") {
        return u"Post this to Slack as one message. If no channel is named below, send it to me as a direct "
               "message."_s;
    }
    if (app == u"Notion") {
        return u"Create one Notion page with this content. Title it with the capture's title and date."_s;
    }
    if (app == u"HubSpot" || app == u"Attio") {
        return u"Log this as a note on the matching contact or company. If nothing matches, stop and say "
               "so."_s;
    }
    if (app == u"Gmail") {
        return u"Create a draft email with this content. Do not send it."_s;
    }
    return u"Create one task in %1 for each action item I own (Me). Use the item as the title. Put the "
           "capture's title and date in the description. Don't create duplicates."_s.arg(app);
}

QString Connector::rawValue(Status status) {
    switch (status) {
        case Status::connected:
            return u"connected"_s;
        case Status::needsLogin:
            return u"needsLogin"_s;
        case Status::failed:
            return u"failed"_s;
        case Status::unknown:
            break;
    }
    return u"unknown"_s;
}

Connector::Status Connector::statusFrom(const QString& word) {
    if (word == u"connected") {
        return Status::connected;
    }
    if (word == u"needs-auth") {
        return Status::needsLogin;
    }
    return word == u"failed" ? Status::failed : Status::unknown;
}

QString Connector::wordFor(Status status) {
    return status == Status::needsLogin ? u"needs-auth"_s : rawValue(status);
}

const KnownApp* KnownApp::find(const QString& serverName) {
    const QString lower = serverName.toLower();
    const auto& apps = knownApps();
    const auto found =
        std::ranges::find_if(apps, [&](const KnownApp& known) { return lower.contains(known.key); });
    return found == apps.end() ? nullptr : &*found;
}

QString KnownApp::defaultIcon() {
    return u"app.connected.to.app.below.fill"_s;
}

}  // namespace lumbro
