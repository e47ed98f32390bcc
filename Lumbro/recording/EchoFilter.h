#pragma once

#include "library/formats/TranscriptSegment.h"

namespace lumbro::echoFilter {

/// Whether a line of the microphone is really the far side heard through the speakers: most of its words were
/// said by "Them" within 8 s of it. `heard` is in the order of arrival. Lines of less than three different
/// words never are. Pure; any thread.
bool isEcho(const TranscriptSegment& segment, const TranscriptSegments& heard);

}  // namespace lumbro::echoFilter
