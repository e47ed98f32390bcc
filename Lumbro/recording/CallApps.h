#pragma once

#include "platform/AudioServer.h"

#include <QList>
#include <QString>
#include <QStringView>

#include <optional>

/// The applications that calls are made with. Pure functions.
namespace lumbro::callApps {

/// Whether a bundle identifier is a web browser's. A call in one may later show its native application.
bool isBrowser(QStringView bundleID);

/// The name of the meeting application with this bundle identifier; nothing for other applications. A browser
/// that calls are made in has the name of its meeting service.
std::optional<QString> meetingName(QStringView bundleID);

/// The meeting application among those that use the microphone, with its name from the table; without one a
/// browser, in which any service may be used, by its own name.
std::optional<MicrophoneUser> onCall(const QList<MicrophoneUser>& users);

/// What is stored as a call's application: a browser goes by the meeting service of the calendar event, where
/// that is known, and else by its own name. `service` is empty when it isn't known.
MicrophoneUser callApp(const MicrophoneUser& detected, const QString& service);

}  // namespace lumbro::callApps
