#include "library/CaptureFolder.h"

#include "LumbroCore/Dates.h"
#include "library/TranscriptWords.h"

#include <QFile>
#include <QString>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace lumbro {

CaptureFolder::CaptureFolder(const QString& path) : m_folder(opendir(QFile::encodeName(path).constData())) {
    if (!m_folder) {
        return;
    }
    std::vector<std::pair<qsizetype, qsizetype>> places;
    // The stream is this function's alone.
    while (const dirent* item = readdir(m_folder.get())) {  // NOLINT(concurrency-mt-unsafe)
        const QByteArrayView name(item->d_name);
        if (item->d_type != DT_REG && name != "." && name != "..") {
            places.emplace_back(m_bytes.size(), name.size());
            m_bytes.append(name).append('\0');
        }
    }
    m_names.reserve(places.size());
    for (const auto& [begin, size] : places) {
        m_names.push_back(QByteArrayView(m_bytes).sliced(begin, size));
    }
    std::ranges::sort(m_names, [](QByteArrayView a, QByteArrayView b) { return a.compare(b) < 0; });
}

void CaptureFileReader::setCapture(QByteArrayView path) {
    m_path.resize(0);
    m_path.append(path).append('/');
    m_pathSize = m_path.size();
}

const char* CaptureFileReader::file(const char* name) {
    m_path.truncate(m_pathSize);
    m_path.append(name);
    return m_path.constData();
}

/// `errno` of the failed open or read, 0 when `bytes` holds the whole file, EFBIG when it has more than
/// `limit` bytes.
int CaptureFileReader::read(const char* name, qsizetype limit) {
    // Without O_NONBLOCK a fifo would hold us for ever.
    const int descriptor = openat(m_folder, file(name), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0) {
        return errno;
    }
    const int error = readAll(descriptor, limit);
    close(descriptor);
    return error;
}

int CaptureFileReader::readAll(int file, qsizetype limit) {
    constexpr size_t usualSize = size_t(64) * 1024;
    m_size = 0;
    m_buffer.resize(std::max(m_buffer.size(), usualSize));
    for (;;) {
        if (m_size == std::ssize(m_buffer)) {
            m_buffer.resize(m_buffer.size() * 2);
        }
        const ssize_t got = ::read(file, m_buffer.data() + m_size, m_buffer.size() - size_t(m_size));
        if (got < 0) {
            return errno;
        }
        m_size += got;
        if (m_size > limit) {
            return EFBIG;
        }
        // A plain file fills the buffer unless it ends.
        if (m_size < std::ssize(m_buffer)) {
            return 0;
        }
    }
}

SummaryFacts CaptureFileReader::stamps() {
    SummaryFacts facts;
    facts.meta = FileStamp::of(m_folder, file("meta.json"));
    facts.transcript = FileStamp::of(m_folder, file("transcript.json"));
    facts.handoffs = FileStamp::of(m_folder, file("handoffs"));
    return facts;
}

CaptureFileReader::Meta CaptureFileReader::meta() {
    Meta found;
    const int error = read("meta.json", CaptureMeta::mostBytes);
    if (error != 0) {
        found.isBroken = error != ENOENT && error != ENOTDIR;
        return found;
    }
    found.meta = CaptureMeta::fromBytes(bytes());
    found.isBroken = !found.meta;
    if (found.meta) {
        const CaptureMeta& meta = *found.meta;
        const auto isPlain = [this](const std::optional<QDateTime>& date) {
            return !date || bytes().contains('"' + dates::iso(*date).toLatin1() + '"');
        };
        found.hasPlainDates = isPlain(meta.startedAt) && isPlain(meta.endedAt) && isPlain(meta.memorizedAt) &&
                              isPlain(meta.sessionCursor);
    }
    return found;
}

/// False when the folder is there and cannot be read.
bool CaptureFileReader::readHandoffs(QStringList& ids) {
    const int descriptor = openat(m_folder, file("handoffs"), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* const handoffs = descriptor < 0 ? nullptr : fdopendir(descriptor);
    if (handoffs == nullptr) {
        return false;
    }
    while (const dirent* item = readdir(handoffs)) {  // NOLINT(concurrency-mt-unsafe)
        const QString name = QFile::decodeName(item->d_name);
        if (name.endsWith(u".md") && item->d_type != DT_DIR) {
            ids.append(name.chopped(3));
        }
    }
    closedir(handoffs);
    ids.sort();
    return true;
}

void CaptureFileReader::readRest(SummaryFacts& facts, const SummaryFacts* known) {
    constexpr qsizetype transcriptLimit = qsizetype(256) * 1024 * 1024;
    if (facts.transcript.exists()) {
        if (known != nullptr && known->transcript == facts.transcript) {
            facts.words = known->words;
        } else if (read("transcript.json", transcriptLimit) == 0) {
            facts.words = transcriptWords(bytes());
        } else {
            facts.transcript = {};
        }
    }
    if (facts.handoffs.exists()) {
        QStringList ids;
        if (known != nullptr && known->handoffs == facts.handoffs) {
            facts.handoffIds = known->handoffIds;
        } else if (readHandoffs(ids)) {
            for (const QString& id : std::as_const(ids)) {
                facts.handoffIds += id.toUtf8() + '\0';
            }
        } else {
            facts.handoffs = {};
        }
    }
}

QStringList handoffList(QByteArrayView handoffIds) {
    QStringList ids;
    for (QByteArrayView rest = handoffIds; !rest.isEmpty();) {
        const qsizetype end = rest.indexOf('\0');
        ids.append(QString::fromUtf8(rest.first(end)));
        rest = rest.sliced(end + 1);
    }
    return ids;
}

}  // namespace lumbro
