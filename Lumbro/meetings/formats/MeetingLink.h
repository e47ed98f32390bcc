#pragma once

#include <QString>
#include <QUrl>

#include <optional>

/// Where an online meeting is joined. Invitations come from strangers: only addresses on the hosts of known
/// services are links, never files, other programs' schemes or what merely looks like such a host. Any text.
namespace lumbro::meetingLink {

/// The service that the address belongs to, such as "Zoom" or "Teams"; nothing for any other address.
std::optional<QString> app(const QString& url);

/// The first address that `app` knows: the event's own link, else one in its location, else one in its notes.
/// It is always https, and without what a mail server or calendar wrapped around it.
std::optional<QUrl> find(const QString& url, const QString& location, const QString& notes);

}  // namespace lumbro::meetingLink
