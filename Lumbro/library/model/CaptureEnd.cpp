#include "library/model/CaptureEnd.h"

#include "LumbroCore/Literals.h"

#include <cmath>

namespace lumbro {

std::optional<QString> CaptureEnd::missedWords() const {
    constexpr double toldInMinutes = 90;
    if (untranscribedSeconds <= 0) {
        return std::nullopt;
    }
    const QString length = untranscribedSeconds < toldInMinutes
                               ? u"%1 s"_s.arg(std::ceil(untranscribedSeconds))
                               : u"%1 min"_s.arg(std::round(untranscribedSeconds / 60));
    const QString reason =
        waitWasEnded ? u", since the wait was ended."_s : u": speech recognition was too slow or failed."_s;
    return u"%1 of this recording were not transcribed%2"_s.arg(length, reason);
}

}  // namespace lumbro
