#include "meetings/formats/MeetingLink.h"

#include "LumbroCore/Literals.h"

#include <QRegularExpression>

#include <array>

namespace lumbro::meetingLink {

namespace {

struct Service {
    /// A part of the addresses of its meetings, in lower case.
    QStringView fragment;
    QStringView name;
};

/// The first that fits counts.
constexpr std::array services{
    Service{u"zoom.us", u"Zoom"},
    Service{u"meet.google.com", u"Google Meet"},
    Service{u"teams.microsoft.com", u"Teams"},
    Service{u"teams.live.com", u"Teams"},
    Service{u"webex.com", u"Webex"},
    Service{u"facetime.apple.com", u"FaceTime"},
    Service{u"whereby.com", u"Whereby"},
    Service{u"around.co", u"Around"},
    Service{u"app.slack.com/huddle", u"Slack"},
};

/// The address as a link, when it is a meeting's.
std::optional<QUrl> meeting(const QString& address) {
    if (!app(address)) {
        return std::nullopt;
    }
    const QUrl url(address, QUrl::TolerantMode);
    const bool isWeb = url.scheme() == u"https" || url.scheme() == u"http";
    return url.isValid() && isWeb && !url.host().isEmpty() ? std::optional(url) : std::nullopt;
}

/// Without what ends the sentence that the address stands in.
QString withoutStop(QString address) {
    while (!address.isEmpty() && QStringView(u".,;:!?").contains(address.back())) {
        address.chop(1);
    }
    return address;
}

std::optional<QUrl> firstMeeting(const QString& text) {
    static const QRegularExpression form(uR"(https?:\/\/[^\s<>"')]+)"_s);
    for (const auto& match : form.globalMatch(text)) {
        if (auto link = meeting(withoutStop(match.captured()))) {
            return link;
        }
    }
    return std::nullopt;
}

}  // namespace

std::optional<QString> app(const QString& url) {
    const QString lower = url.toLower();
    for (const Service& service : services) {
        if (lower.contains(service.fragment)) {
            return service.name.toString();
        }
    }
    return std::nullopt;
}

std::optional<QUrl> find(const QString& url, const QString& location, const QString& notes) {
    if (auto own = meeting(url.trimmed())) {
        return own;
    }
    if (auto link = firstMeeting(location)) {
        return link;
    }
    return firstMeeting(notes);
}

}  // namespace lumbro::meetingLink
