#pragma once

#include "library/formats/CaptureMeta.h"
#include "library/formats/TranscriptSegment.h"

#include <QString>

#include <optional>

namespace lumbro {

/// What a recording is for.
enum class CaptureIntent { note, meeting };
/// Where the notes of a running recording are shown: in the Library, or in the window beside the call.
enum class NoteSurface { library, beside };

/// How a recording ended.
struct CaptureEnd {
    enum class Kind {
        /// There was none.
        notRecording,
        /// Nothing was heard: the capture is in the Trash.
        removed,
        /// Somebody else has moved or removed its folder; `lostText` says so.
        gone,
        kept,
    };
    Kind kind = Kind::notRecording;
    CaptureRecord record;
    int words = 0;
    /// Words were looked for: without a speech model their absence says nothing.
    bool transcribed = true;
    /// Why audio is missing, in a sentence; nothing when all of it is on disk.
    std::optional<QString> lostAudio;
    /// Why words or the record are missing, in a sentence that says what to do; nothing when they are on
    /// disk.
    std::optional<QString> lostText;
    /// The words that are missing on the disk, so that whoever shows `lostText` can show them too.
    TranscriptSegments unsavedWords;
    /// Seconds of sound that have no words because the recogniser was too late or was given up on.
    double untranscribedSeconds = 0;
    /// Or because the user did not wait for its words.
    bool waitWasEnded = false;

    /// That some sound has no words, as a sentence for the user; nothing when all of it was listened to.
    std::optional<QString> missedWords() const;
};

}  // namespace lumbro
