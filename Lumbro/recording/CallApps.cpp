#include "recording/CallApps.h"

#include <algorithm>
#include <array>

namespace lumbro::callApps {

namespace {

struct MeetingApp {
    QStringView prefix;
    QStringView name;
};

constexpr std::array meetingApps{
    MeetingApp{u"us.zoom", u"Zoom"},
    MeetingApp{u"com.microsoft.teams", u"Teams"},
    MeetingApp{u"com.cisco.webex", u"Webex"},
    MeetingApp{u"com.webex", u"Webex"},
    MeetingApp{u"com.apple.FaceTime", u"FaceTime"},
    MeetingApp{u"com.tinyspeck.slackmacgap", u"Slack"},
    MeetingApp{u"com.hnc.Discord", u"Discord"},
    MeetingApp{u"com.google.Chrome", u"Google Meet"},
};

}  // namespace

bool isBrowser(QStringView bundleID) {
    static constexpr std::array<QStringView, 7> prefixes{
        u"com.google.Chrome", u"company.thebrowser",    u"com.apple.Safari",    u"com.apple.WebKit",
        u"com.brave.Browser", u"com.microsoft.edgemac", u"org.mozilla.firefox",
    };
    return std::ranges::any_of(prefixes, [&](QStringView prefix) { return bundleID.startsWith(prefix); });
}

std::optional<QString> meetingName(QStringView bundleID) {
    const auto found = std::ranges::find_if(
        meetingApps, [&](const MeetingApp& app) { return bundleID.startsWith(app.prefix); });
    return found == meetingApps.end() ? std::nullopt : std::optional(found->name.toString());
}

std::optional<MicrophoneUser> onCall(const QList<MicrophoneUser>& users) {
    for (const MicrophoneUser& user : users) {
        if (const auto name = meetingName(user.bundleID)) {
            return MicrophoneUser{*name, user.bundleID};
        }
    }
    const auto browser =
        std::ranges::find_if(users, [](const MicrophoneUser& user) { return isBrowser(user.bundleID); });
    return browser == users.end() ? std::nullopt : std::optional(*browser);
}

MicrophoneUser callApp(const MicrophoneUser& detected, const QString& service) {
    const bool isKnownBetter = isBrowser(detected.bundleID) && !service.isEmpty();
    return isKnownBetter ? MicrophoneUser{service, detected.bundleID} : detected;
}

}  // namespace lumbro::callApps
