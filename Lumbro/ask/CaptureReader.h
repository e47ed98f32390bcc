#pragma once

#include "ask/CaptureDocument.h"
#include "ask/TranscriptScan.h"
#include "library/formats/CaptureMeta.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <vector>

struct stat;

namespace lumbro {

/// What tells one state of the files of a capture from another.
struct CaptureStamp {
    /// Made of identity, size and dates of every file that a search looks into.
    quint64 files = 0;
    /// When the last of them changed, in ms since 1970.
    qint64 newest = 0;
    /// A file can change without its folder being told: it has another name elsewhere, or is a link.
    bool isShared = false;

    bool isSame(const CaptureStamp& other) const { return files == other.files; }
    void add(const struct stat& status);
    void addMissing();
};

/// A capture as a search looks through it, with the state that it was read in.
struct CaptureReading {
    CaptureDocument document;
    CaptureStamp stamp;
    /// Names of the files in "handoffs", sorted; their states are part of the stamp.
    QList<QByteArray> handoffs;
    /// That folder was there.
    bool hasHandoffs = false;
    /// Files that are there and can't be read, by their names in the capture's folder.
    QStringList unreadable;
};

/// Reads captures, one after another; its room for the work is kept between them. Any thread, one at a time.
class CaptureReader {
  public:
    /// Reads the files of a capture. A missing or broken file gives no lines.
    CaptureReading read(const CaptureRecord& record);
    /// The stamp of the files as they are now, without reading them. `handoffs` are the names that were read.
    static CaptureStamp stamp(const CaptureRecord& record, const QList<QByteArray>& handoffs);

  private:
    enum class Read { nothing, whole, failed };

    bool readFile(int folder, const QByteArray& name, const QString& prefix, CaptureReading& reading);
    Read fillBuffer(int folder, const QByteArray& name, CaptureStamp& stamp);
    bool addTranscript();
    bool addSession();
    bool addText(SearchHit::Kind kind, bool skipsHeadings = false);
    void addHandoffs(int folder, CaptureReading& reading);

    CaptureDocumentBuilder m_builder;
    TranscriptScan m_scan;
    std::vector<char> m_buffer;
    qsizetype m_size = 0;
};

}  // namespace lumbro
