#pragma once

#include "library/SummaryCache.h"
#include "library/formats/CaptureMeta.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QStringList>

#include <memory>
#include <optional>
#include <vector>

#include <dirent.h>

namespace lumbro {

/// An open folder of captures. With thousands of them the objects of a file class cost more than the reading,
/// so this and `CaptureFileReader` work on raw descriptors.
class CaptureFolder {
  public:
    /// Opens the folder and reads the names in it.
    explicit CaptureFolder(const QString& path);

    /// -1 when it could not be opened.
    int descriptor() const { return m_folder ? dirfd(m_folder.get()) : -1; }
    /// The names of what may be a capture, in byte order, so that the outcome does not hang on the file
    /// system's own. Each is followed by a zero byte; they live as long as this.
    const std::vector<QByteArrayView>& names() const { return m_names; }

  private:
    struct CloseDir {
        void operator()(DIR* dir) const { closedir(dir); }
    };

    std::unique_ptr<DIR, CloseDir> m_folder;
    QByteArray m_bytes;
    std::vector<QByteArrayView> m_names;
};

/// Reads the files of one capture after another. Used by one thread.
class CaptureFileReader {
  public:
    /// What a look at `meta.json` found.
    struct Meta {
        std::optional<CaptureMeta> meta;
        /// It is there and cannot be read as one.
        bool isBroken = false;
        /// Every date stands in it as we write dates, so that no time zone has a say in them.
        bool hasPlainDates = false;
    };

    /// `folder` is an open folder, or AT_FDCWD.
    explicit CaptureFileReader(int folder) : m_folder(folder) {}

    /// The capture that the other calls mean, by its path in the folder.
    void setCapture(QByteArrayView path);
    /// The states of the capture's files as they are now.
    SummaryFacts stamps();
    Meta meta();
    /// Adds words and hand-offs to the stamps. Where the stamp is that of `known` (may be null), its fact is
    /// taken.
    void readRest(SummaryFacts& facts, const SummaryFacts* known);

  private:
    const char* file(const char* name);
    int read(const char* name, qsizetype limit);
    int readAll(int file, qsizetype limit);
    bool readHandoffs(QStringList& ids);
    QByteArray bytes() const { return QByteArray::fromRawData(m_buffer.data(), m_size); }

    int m_folder;
    QByteArray m_path;
    qsizetype m_pathSize = 0;
    std::vector<char> m_buffer;
    qsizetype m_size = 0;
};

/// The ids that `SummaryFacts::handoffIds` holds.
QStringList handoffList(QByteArrayView handoffIds);

}  // namespace lumbro
