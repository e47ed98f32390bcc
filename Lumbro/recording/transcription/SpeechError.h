#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Literals.h"

#include <QString>

namespace lumbro::captureError {

/// Why there will be no words, as the user reads it.
inline Failure speech(const QString& detail) {
    return {FailureKind::speech, u"Speech recognition unavailable: "_s + detail};
}

}  // namespace lumbro::captureError
