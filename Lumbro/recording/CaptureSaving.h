#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/SpaceReserve.h"
#include "LumbroCore/Task.h"
#include "library/formats/CaptureMeta.h"
#include "library/formats/TranscriptSegment.h"

#include <QString>

#include <memory>
#include <optional>

namespace lumbro {

class ContextLibrary;

/// Brings the record and the words of a running recording to the disk. Other processes may change the record
/// meanwhile; what the recording doesn't own is theirs. Main thread.
class CaptureSaving {
  public:
    /// The library must outlive this.
    CaptureSaving(ContextLibrary& library, CaptureRecord record);
    CaptureSaving(const CaptureSaving&) = delete;
    CaptureSaving& operator=(const CaptureSaving&) = delete;
    ~CaptureSaving();

    /// As it was when it was last written.
    const CaptureRecord& record() const { return m_record; }
    /// The fields that the recording owns: end, sources and call application. Written by `saveRecord`.
    CaptureMeta& ownMeta() { return m_record.meta; }
    /// Replaces the title, also one that another process has given.
    void setTitle(const QString& title);
    void saveRecord();

    /// Writes the words on a thread of their own. True when they are on the disk or a newer write has
    /// overtaken this one. May be awaited beyond the end of this.
    Task<bool> writeInBackground(TranscriptSegments segments);
    /// Writes the words at once. Nothing that was begun before is written after it.
    void write(const TranscriptSegments& segments);
    /// The recording writes no more audio: from now on its texts may use the space that was held for them.
    void useReserve() { m_reserve.release(); }

    /// Why the last write of the words, else of the record, came to nothing: a sentence that says what to do.
    /// Nothing when all is on the disk.
    std::optional<QString> loss() const;
    /// What `transcript.json` lacks of the words that were to be written last.
    TranscriptSegments unsaved() const;

  private:
    struct Shared;

    void takeWhatOthersChanged();
    static Task<bool> writeInBackground(std::shared_ptr<Shared> shared, CaptureRecord record, bool isTitleNew,
                                        TranscriptSegments segments);

    ContextLibrary& m_library;
    CaptureRecord m_record;
    bool m_isTitleNew = false;
    Result<> m_recordSaved;
    Result<> m_wordsSaved;
    TranscriptSegments m_lastWords;
    SpaceReserve m_reserve;
    std::shared_ptr<Shared> m_shared;
};

}  // namespace lumbro
