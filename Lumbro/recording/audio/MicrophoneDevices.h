#pragma once

#include "platform/AudioServer.h"

#include <QList>
#include <QString>

/// The microphones that the user can choose from. Main thread.
namespace lumbro::microphoneDevices {

/// The server's microphones in the order of a file manager, in which numbers within names compare by value.
QList<AudioDevice> available(const AudioServer& server);

/// The id of the first device that has `uid`, else `defaultID`. An empty `uid` equals nothing.
QString resolve(const QString& uid, const QList<AudioDevice>& devices, const QString& defaultID);

}  // namespace lumbro::microphoneDevices
