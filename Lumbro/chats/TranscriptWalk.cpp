#include "chats/TranscriptWalk.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumbro {

namespace {

constexpr qsizetype capacity = qsizetype(256) * 1024;

/// A byte stands as far from a multiple of this in memory as in the file. The kernel's copy is three times
/// slower when it writes a few bytes further from the begin of a page than it reads.
constexpr qsizetype alignment = 64;

/// Where to keep the bytes of the file from `offset` on.
char* placeOf(TranscriptWalk::Block& block, qint64 offset) {
    const auto address = std::bit_cast<uintptr_t>(block.data());
    const auto shift = (uintptr_t(offset) - address) % alignment;
    return block.data() + shift;
}

/// Anything but a plain file gives -1; `hasFailed` tells one that is there and can't be read.
int openFile(const QString& path, bool& hasFailed) {
    const int descriptor =
        open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    hasFailed = descriptor < 0 && errno != ENOENT;
    struct stat status{};
    if (descriptor >= 0 && (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode))) {
        close(descriptor);
        return -1;
    }
    return descriptor;
}

/// The number of bytes read; less than asked for at the end of the file or after an error, which sets
/// `hasFailed`.
qsizetype readAt(int descriptor, char* to, qsizetype size, qint64 offset, bool& hasFailed) {
    qsizetype done = 0;
    while (done < size) {
        const ssize_t count = pread(descriptor, to + done, size_t(size - done), offset + done);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            hasFailed = hasFailed || count < 0;
            break;
        }
        done += count;
    }
    return done;
}

}  // namespace

TranscriptWalk::TranscriptWalk(const QString& path, Block& block, ClaudeChatReader::Progress* progress)
    : m_descriptor(openFile(path, m_hasFailed)),
      m_block(block),
      m_progress(progress),
      m_turns(QFileInfo(path).completeBaseName(),
              [this](qint64 offset, qint64 size) { return bytes(offset, size); }) {
    m_block.resize(size_t(alignment + capacity + LineMarks::slack));
    m_data = placeOf(m_block, 0);
}

TranscriptWalk::~TranscriptWalk() {
    if (m_descriptor >= 0) {
        close(m_descriptor);
    }
}

SessionEntries TranscriptWalk::run() {
    while (m_descriptor >= 0 && !m_isAtEnd && fill()) {
        scan();
    }
    return m_turns.finish();
}

/// Moves what is still needed to the front of the block and reads on behind it. False when cancelled.
bool TranscriptWalk::fill() {
    if (m_progress != nullptr && m_progress->isCancelled) {
        return false;
    }
    const qint64 line = m_lineOffset - m_blockOffset;
    // The bytes of a long line are let go, and read again should it turn out to matter.
    const bool keepsLine = line >= 0 && m_size - line <= capacity / 2;
    const qsizetype keepFrom = keepsLine ? line : m_scanned;
    m_blockOffset += keepFrom;
    char* const place = placeOf(m_block, m_blockOffset);
    std::memmove(place, m_data + keepFrom, size_t(m_size - keepFrom));
    m_data = place;
    m_size -= keepFrom;
    m_scanned -= keepFrom;
    const qsizetype count =
        readAt(m_descriptor, m_data + m_size, capacity - m_size, m_blockOffset + m_size, m_hasFailed);
    m_isAtEnd = count < capacity - m_size;
    m_size += count;
    if (m_progress != nullptr) {
        m_progress->bytesDone += count;
    }
    return true;
}

void TranscriptWalk::scan() {
    std::fill_n(m_data + m_size, LineMarks::slack, '\0');
    // A mark may end in the next block.
    const qsizetype to = m_isAtEnd ? m_size : m_size - LineMarks::maxLength;
    while (m_scanned < to) {
        const qsizetype end = m_marks.search(m_data, m_scanned, to);
        m_scanned = end;
        if (end < to) {
            endLine(end);
            m_scanned = end + 1;
        }
    }
    if (m_isAtEnd) {
        endLine(m_size);
    }
}

void TranscriptWalk::endLine(qsizetype end) {
    const qint64 size = m_blockOffset + end - m_lineOffset;
    if (size <= maxLine) {
        if (m_marks.mayBeTurn()) {
            m_turns.take(bytes(m_lineOffset, size), m_lineOffset);
        } else if (m_marks.mayBeAnswer()) {
            m_turns.takeAnswer(m_lineOffset, size);
        }
    }
    m_marks = {};
    m_lineOffset = m_blockOffset + end + 1;
}

/// Valid until the block changes.
QByteArray TranscriptWalk::bytes(qint64 offset, qint64 size) const {
    if (offset >= m_blockOffset && offset + size <= m_blockOffset + m_size) {
        return QByteArray::fromRawData(m_data + (offset - m_blockOffset), size);
    }
    QByteArray result(size, Qt::Uninitialized);
    bool hasFailed = false;
    result.truncate(readAt(m_descriptor, result.data(), size, offset, hasFailed));
    return result;
}

}  // namespace lumbro
