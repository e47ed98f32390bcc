#pragma once

#include "platform/AudioServer.h"

#include <QHash>
#include <QString>

#include <optional>

namespace lumbro {

/// A recording stream as the audio server lists it.
struct RecordingClient {
    /// The stream's properties, those of its program included.
    QHash<QString, QString> properties;
    /// It belongs to a program, not to a module of the server.
    bool hasClient = true;
    /// It stands still for now.
    bool corked = false;
    /// It is on a microphone, not on an output's monitor or on nothing.
    bool onMicrophone = true;
};

/// The application behind a stream, or nothing when it doesn't count: ourselves (`ownPid`), streams that
/// stand still, level meters, and what isn't on a microphone. A pure function.
std::optional<MicrophoneUser> microphoneUser(const RecordingClient& client, qint64 ownPid);

}  // namespace lumbro
