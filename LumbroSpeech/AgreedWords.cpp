#include "LumbroSpeech/WhisperDecoder.h"

#include <algorithm>

namespace lumbro::speech {

QStringList agreedWords(const QStringList& agreed, const QStringList& before, const QStringList& now,
                        QStringList& shown) {
    const auto ends = std::ranges::mismatch(before, now);
    const auto common = std::distance(now.begin(), ends.in2);
    QStringList settled = agreed;
    if (common > settled.size()) {
        settled += now.mid(settled.size(), common - settled.size());
    }
    shown = settled + now.mid(settled.size());
    return settled;
}

}  // namespace lumbro::speech
