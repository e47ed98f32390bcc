#include "recording/CaptureSaving.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/InBackground.h"
#include "LumbroCore/LockedUpdate.h"
#include "library/CaptureFiles.h"
#include "library/ContextLibrary.h"
#include "recording/DiskSpace.h"

#include <QFileInfo>

#include <algorithm>
#include <chrono>
#include <mutex>
#include <utility>

namespace lumbro {

/// What the writes share, in whichever order they come to run.
struct CaptureSaving::Shared {
    std::mutex lock;
    /// Each write has a number; one that is older than the last is dropped.
    int lastBegun = 0;
    int lastWritten = 0;
    bool isFailureLogged = false;

    Result<> write(int number, const CaptureRecord& record, const TranscriptSegments& segments);
};

Result<> CaptureSaving::Shared::write(int number, const CaptureRecord& record,
                                      const TranscriptSegments& segments) {
    const std::lock_guard guard(lock);
    if (number < lastWritten) {
        return {};
    }
    lastWritten = number;
    Result<> written = captureFiles::writeTranscript(segments, record);
    if (!written && !isFailureLogged) {
        AppLog::error(u"capture"_s, u"transcript of %1 not written, it is tried again: %2"_s.arg(
                                        record.id(), written.error().message));
    }
    isFailureLogged = !written;
    return written;
}

CaptureSaving::CaptureSaving(ContextLibrary& library, CaptureRecord record)
    : m_library(library),
      m_record(std::move(record)),
      m_reserve(m_record.folder),
      m_shared(std::make_shared<Shared>()) {}

CaptureSaving::~CaptureSaving() = default;

void CaptureSaving::setTitle(const QString& title) {
    m_record.meta.title = title;
    m_isTitleNew = true;
    saveRecord();
}

void CaptureSaving::saveRecord() {
    // No longer than a user notices: then the chance is small that another one changes it in this moment.
    const FolderLock lock(m_library.capturesFolder(), std::chrono::seconds(1));
    takeWhatOthersChanged();
    m_recordSaved = m_library.save(m_record);
    m_isTitleNew = m_isTitleNew && !m_recordSaved;
}

void CaptureSaving::takeWhatOthersChanged() {
    if (const auto onDisk = captureFiles::meta(m_record)) {
        const CaptureMeta mine = std::exchange(m_record.meta, *onDisk);
        m_record.meta.endedAt = mine.endedAt;
        m_record.meta.sources = mine.sources;
        m_record.meta.callApp = mine.callApp;
        m_record.meta.callAppBundleID = mine.callAppBundleID;
        if (m_isTitleNew) {
            m_record.meta.title = mine.title;
        }
    }
}

Task<bool> CaptureSaving::writeInBackground(TranscriptSegments segments) {
    return writeInBackground(m_shared, m_record, m_isTitleNew, std::move(segments));
}

// An atomic write waits for the disk, twice here, and that can take long while a recording writes to it. A
// thread of its own costs nothing that a kill could take: like a write on the main thread it is done or not,
// so that at most the words since the write before are lost.
Task<bool> CaptureSaving::writeInBackground(std::shared_ptr<Shared> shared, CaptureRecord record,
                                            bool isTitleNew, TranscriptSegments segments) {
    const int number = ++shared->lastBegun;
    const Result<> written = co_await inBackground([=]() mutable {
        if (const auto onDisk = captureFiles::meta(record); onDisk && !isTitleNew) {
            record.meta.title = onDisk->title;
        }
        return shared->write(number, record, segments);
    });
    co_return written.has_value();
}

void CaptureSaving::write(const TranscriptSegments& segments) {
    m_lastWords = segments;
    m_wordsSaved = m_shared->write(++m_shared->lastBegun, m_record, segments);
}

TranscriptSegments CaptureSaving::unsaved() const {
    if (m_wordsSaved) {
        return {};
    }
    const TranscriptSegments onDisk =
        transcript::decode(readFile(m_record.path(u"transcript.json"_s)).value_or(QByteArray()));
    const auto isSame = [](const TranscriptSegment& one, const TranscriptSegment& other) {
        return one.speaker == other.speaker && one.text == other.text;
    };
    const auto first = std::ranges::mismatch(m_lastWords, onDisk, isSame).in1;
    return m_lastWords.sliced(first - m_lastWords.begin());
}

std::optional<QString> CaptureSaving::loss() const {
    if (m_wordsSaved && m_recordSaved) {
        return std::nullopt;
    }
    if (!QFileInfo(m_record.folder).isDir()) {
        return u"%1 was moved or removed during the recording, so its last words couldn't be saved there. If "
               u"it "
               u"was moved, put it back."_s.arg(m_record.folder);
    }
    const bool isFull = diskSpace::isUsedUp(m_record.folder);
    const QString reason = (m_wordsSaved ? m_recordSaved : m_wordsSaved).error().message;
    const QString cause =
        isFull ? u"The disk is full"_s : u"This recording isn't whole on the disk ("_s + reason + u')';
    const QString mend = isFull ? u"free some space"_s : u"mend that"_s;
    return m_wordsSaved
               ? u"%1: %2, and the next start of Lumbro notes when this recording ended."_s.arg(cause, mend)
               : u"%1, and the last words of this recording couldn't be saved: %2, then import its audio again."_s
                     .arg(cause, mend);
}

}  // namespace lumbro
