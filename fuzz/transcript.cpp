// transcript.json and what is made of it for people.
#include "Check.h"
#include "LumbroCore/Text.h"
#include "library/formats/TranscriptSegment.h"

using namespace lumbro;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes = fuzz::bytes(data, size);
    const TranscriptSegments segments = transcript::decode(bytes);
    fuzz::check(transcript::decodeWhole(bytes).value_or(TranscriptSegments{}) == segments);
    const QByteArray written = transcript::encode(segments);
    const auto again = transcript::decodeWhole(written);
    fuzz::check(again && transcript::encode(*again) == written);

    const TranscriptSegments merged = transcript::merged(segments);
    fuzz::check(merged.size() <= segments.size() && merged.isEmpty() == segments.isEmpty());
    fuzz::check(transcript::markdown(segments, QStringLiteral("Title")).endsWith(u'\n'));
    for (const TranscriptSegment& segment : merged) {
        fuzz::check(wordCount(segment.text) >= 0);
    }
    return 0;
}
