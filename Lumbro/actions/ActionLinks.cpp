#include "actions/ActionLinks.h"

#include "LumbroCore/Literals.h"

#include <algorithm>
#include <array>
#include <utility>

namespace lumbro {

namespace {

struct AppLink {
    const char* app;
    /// Empty: the app opens no links of its own.
    const char* own;
    const char* home;
};

constexpr std::array<AppLink, 15> appLinks{{
    {"Todoist", "todoist://", "https://app.todoist.com/app/today"},
    {"Linear", "linear://", "https://linear.app"},
    {"Slack", "slack://open", "https://app.slack.com"},
    {"Notion", "notion://", "https://www.notion.so"},
    {"Gmail", "", "https://mail.google.com/mail/#drafts"},
    {"Google Drive", "", "https://drive.google.com"},
    {"Google Calendar", "", "https://calendar.google.com"},
    {"ClickUp", "", "https://app.clickup.com"},
    {"Asana", "", "https://app.asana.com"},
    {"GitHub", "", "https://github.com"},
    {"Jira", "", "https://start.atlassian.com"},
    {"HubSpot", "", "https://app.hubspot.com"},
    {"Attio", "", "https://app.attio.com"},
    {"Trello", "", "https://trello.com"},
    {"Monday", "", "https://monday.com"},
}};

/// The text as an address on the web; nothing for any other scheme, whatever case it is written in.
std::optional<QUrl> webAddress(const QString& text) {
    const QUrl url(text, QUrl::StrictMode);
    const bool isWeb = url.scheme() == u"https" || url.scheme() == u"http";
    return url.isValid() && isWeb && !url.host().isEmpty() ? std::optional(url) : std::nullopt;
}

}  // namespace

ActionLinks::ActionLinks(Open open, HasHandler hasHandler)
    : m_open(std::move(open)), m_hasHandler(std::move(hasHandler)) {}

bool ActionLinks::open(const ActionRun& run) const {
    const auto url = link(run);
    return url && m_open(*url);
}

std::optional<QUrl> ActionLinks::link(const ActionRun& run) const {
    for (const auto& item : run.items) {
        if (const auto url = item.url ? webAddress(*item.url) : std::nullopt) {
            return url;
        }
    }
    return appURL(run.app);
}

std::optional<QUrl> ActionLinks::appURL(const QString& app) const {
    const auto found = std::ranges::find_if(
        appLinks, [&](const AppLink& link) { return app == QLatin1StringView(link.app); });
    if (found == appLinks.end()) {
        return std::nullopt;
    }
    const QUrl own(QString::fromLatin1(found->own));
    const bool opensOwn = !own.isEmpty() && m_hasHandler && m_hasHandler(own.scheme());
    return opensOwn ? own : QUrl(QString::fromLatin1(found->home));
}

}  // namespace lumbro
