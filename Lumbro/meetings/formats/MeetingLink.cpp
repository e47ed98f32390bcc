#include "meetings/formats/MeetingLink.h"

#include "LumbroCore/Literals.h"

#include <QRegularExpression>
#include <QUrlQuery>

#include <array>

namespace lumbro::meetingLink {

namespace {

struct Service {
    /// The host of its meetings, or the end of one.
    QStringView host;
    /// How their paths begin.
    QStringView path;
    QStringView name;
};

/// The first that fits counts.
constexpr std::array services{
    Service{u"zoom.us", u"", u"Zoom"},
    Service{u"meet.google.com", u"", u"Google Meet"},
    Service{u"teams.microsoft.com", u"", u"Teams"},
    Service{u"teams.live.com", u"", u"Teams"},
    Service{u"webex.com", u"", u"Webex"},
    Service{u"facetime.apple.com", u"", u"FaceTime"},
    Service{u"whereby.com", u"", u"Whereby"},
    Service{u"around.co", u"", u"Around"},
    Service{u"app.slack.com", u"/huddle", u"Slack"},
};

/// "us02web.zoom.us" is in "zoom.us", "notzoom.us" is not.
bool isWithin(const QString& text, QStringView whole, QChar border, bool atEnd) {
    const bool fits = atEnd ? text.endsWith(whole) : text.startsWith(whole);
    const qsizetype next = atEnd ? text.size() - whole.size() - 1 : whole.size();
    return whole.isEmpty() || (fits && (text.size() == whole.size() || text.at(next) == border));
}

/// Mail servers and calendars wrap the links of invitations into links of their own.
QUrl unwrapped(const QUrl& url) {
    const QUrlQuery query(url);
    if (isWithin(url.host(), u"safelinks.protection.outlook.com", u'.', true)) {
        return QUrl(query.queryItemValue(u"url"_s, QUrl::FullyDecoded));
    }
    if (url.host() == u"www.google.com" && url.path() == u"/url") {
        return QUrl(query.queryItemValue(u"q"_s, QUrl::FullyDecoded));
    }
    return url;
}

/// The address as one that may be opened: encrypted, and without a name before the host, which passes for the
/// host itself.
std::optional<QUrl> webAddress(const QString& address) {
    QUrl url = unwrapped(QUrl(address, QUrl::TolerantMode));
    if (url.scheme() == u"http" && url.port() < 0) {
        url.setScheme(u"https"_s);
    }
    const bool isOpen = url.isValid() && url.scheme() == u"https" && !url.authority().contains(u'@');
    return isOpen ? std::optional(url) : std::nullopt;
}

std::optional<QString> serviceOf(const QUrl& url) {
    for (const Service& service : services) {
        if (isWithin(url.host(), service.host, u'.', true) &&
            isWithin(url.path(), service.path, u'/', false)) {
            return service.name.toString();
        }
    }
    return std::nullopt;
}

/// The address as a link, when it is a meeting's.
std::optional<QUrl> meeting(const QString& address) {
    const auto url = webAddress(address);
    return url && serviceOf(*url) ? url : std::nullopt;
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
    const auto address = webAddress(url);
    return address ? serviceOf(*address) : std::nullopt;
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
