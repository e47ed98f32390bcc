#pragma once

#include "LumbroCore/Failure.h"

#include <QString>

/// The failures of a recording, each with the sentence that the user reads.
namespace lumbro::captureError {

inline Failure micUnavailable(const QString& detail) {
    return {FailureKind::micUnavailable, u"Couldn't start the microphone: "_s + detail};
}
inline Failure systemAudio(const QString& detail) {
    return {FailureKind::systemAudio, u"System audio unavailable: "_s + detail};
}
inline Failure micDenied() {
    return {FailureKind::micDenied, u"Lumbro needs the microphone. Allow it in Settings → Privacy."_s};
}

}  // namespace lumbro::captureError
