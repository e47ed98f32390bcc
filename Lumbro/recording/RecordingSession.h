#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"
#include "library/formats/CaptureMeta.h"
#include "library/formats/TranscriptSegment.h"

#include <QObject>
#include <QString>

#include <optional>

namespace lumbro {

/// One running recording, as far as those that start and finish it are concerned. Main thread.
class RecordingSession : public QObject {
  public:
    /// Begins to record. Fails when the microphone cannot be used; the message is for the user. Called once.
    virtual Task<Result<>> start() = 0;
    /// Ends the audio and writes what is known by now. At once; a second call does nothing.
    virtual void halt() = 0;
    /// Halts, waits for the last words, writes everything and gives the final record. Called once.
    virtual Task<CaptureRecord> stop() = 0;
    /// Done when the audio has its final form on disk; only after `stop`.
    virtual Task<> packed() = 0;

    virtual const CaptureRecord& record() const = 0;
    /// The capture's title from now on; written at once.
    virtual void setTitle(const QString& title) = 0;
    /// Words of the final text so far.
    virtual int wordCount() const = 0;
    virtual bool isCall() const = 0;
    virtual void setIsCall(bool isCall) = 0;
    /// Words are being recognised; false without a speech model, and when it failed to start.
    virtual bool transcribing() const { return true; }
    /// Seconds of sound that got no words although they were looked for: the recogniser came too late or was
    /// given up on. Complete after `stop`.
    virtual double untranscribedSeconds() const { return 0; }
    /// Why audio is missing from the disk, in a sentence for the user; nothing when all of it was written.
    virtual std::optional<QString> lostAudio() const { return std::nullopt; }
    /// Why words or the record are missing from the disk after `stop`, in a sentence for the user that says
    /// what to do; nothing when all of it was written.
    virtual std::optional<QString> lostText() const { return std::nullopt; }
    /// With `lostText`, the words that are only here and go with this.
    virtual TranscriptSegments unsavedWords() const { return {}; }
};

}  // namespace lumbro
