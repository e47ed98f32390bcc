#include "ask/CaptureReader.h"

#include "LumbroCore/Literals.h"
#include "chats/formats/SessionLog.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <span>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace lumbro {

namespace {

constexpr const char* transcriptName = "transcript.json";
constexpr const char* notesName = "notes.md";
constexpr const char* screenName = "screen.md";
constexpr const char* sessionName = "session.json";
constexpr const char* handoffsName = "handoffs";

class Descriptor {
  public:
    explicit Descriptor(int number) : m_number(number) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (m_number >= 0) {
            close(m_number);
        }
    }
    operator int() const { return m_number; }

  private:
    int m_number;
};

/// Opens behind a link as well, and tells of it.
int openTold(int folder, const char* name, int flags, bool& isLink) {
    int file = openat(folder, name, flags | O_NOFOLLOW | O_CLOEXEC);
    if (file < 0 && (errno == ELOOP || errno == ENOTDIR)) {
        file = openat(folder, name, flags | O_CLOEXEC);
        isLink = isLink || file >= 0;
    }
    return file;
}

void addStamp(const QByteArray& folder, const char* name, CaptureStamp& stamp) {
    struct stat status{};
    if (stat((folder + '/' + name).constData(), &status) == 0) {
        stamp.add(status);
    } else {
        stamp.addMissing();
    }
}

/// Speech as paragraphs, as `transcript::merged` makes them.
void addParagraphs(std::span<const TranscriptScan::Segment> segments, CaptureDocumentBuilder& builder) {
    constexpr double paragraphSeconds = 45.0;
    const TranscriptScan::Segment* first = nullptr;
    for (const TranscriptScan::Segment& segment : segments) {
        if (first != nullptr && first->speaker == segment.speaker &&
            segment.start - first->start < paragraphSeconds) {
            builder.append(" ");
            builder.append(segment.text);
        } else {
            first = &segment;
            builder.addSpeech(segment.speaker, segment.start, segment.text);
        }
    }
}

bool isOrdered(std::span<const TranscriptScan::Segment> segments) {
    return std::ranges::is_sorted(segments, {}, &TranscriptScan::Segment::start);
}

/// The names of the results in an open folder, sorted as their engines' ids are. Reads entries as the kernel
/// gives them: a stream costs three more calls for each of thousands of folders.
QList<QByteArray> listResults(int folder) {
    QList<QByteArray> names;
    alignas(dirent64) std::array<char, 4096> buffer{};
    for (ssize_t size = 1; size > 0;) {
        size = getdents64(folder, buffer.data(), buffer.size());
        for (ssize_t at = 0; at < size;) {
            const auto* entry = reinterpret_cast<const dirent64*>(buffer.data() + at);
            const QByteArrayView name(entry->d_name);
            if (name.endsWith(".md")) {
                names.append(name.toByteArray());
            }
            at += entry->d_reclen;
        }
    }
    std::ranges::sort(names, {}, [](const QByteArray& name) { return name.chopped(3); });
    return names;
}

}  // namespace

void CaptureStamp::add(const struct stat& status) {
    constexpr quint64 factor = 0x9E3779B97F4A7C15;
    const auto mix = [this](quint64 value) { files = ((files ^ value) * factor) ^ (files >> 29U); };
    mix(status.st_ino);
    mix(quint64(status.st_size));
    for (const timespec& time : {status.st_mtim, status.st_ctim}) {
        mix(quint64(time.tv_sec) * 1'000'000'000 + quint64(time.tv_nsec));
    }
    const qint64 changed = qint64(status.st_ctim.tv_sec) * 1000 + status.st_ctim.tv_nsec / 1'000'000;
    newest = std::max(newest, changed);
}

void CaptureStamp::addMissing() {
    constexpr quint64 factor = 31;
    files = files * factor + 1;
}

CaptureReading CaptureReader::read(const CaptureRecord& record) {
    CaptureReading reading;
    m_builder.add(SearchHit::Kind::title, record.meta.title.toUtf8());
    const Descriptor folder(openTold(AT_FDCWD, QFile::encodeName(record.folder).constData(),
                                     O_PATH | O_DIRECTORY, reading.stamp.isShared));
    const auto add = [&](const char* name, const auto& take) {
        if (readFile(folder, name, {}, reading) && !take()) {
            reading.unreadable += QString::fromLatin1(name);
        }
    };
    add(transcriptName, [this] { return addTranscript(); });
    add(notesName, [this] { return addText(SearchHit::Kind::notes); });
    add(screenName, [this] { return addText(SearchHit::Kind::screen); });
    if (record.meta.kind == CaptureKind::session) {
        add(sessionName, [this] { return addSession(); });
    }
    addHandoffs(folder, reading);
    reading.document = m_builder.take(record.meta.kind);
    return reading;
}

CaptureStamp CaptureReader::stamp(const CaptureRecord& record, const QList<QByteArray>& handoffs) {
    CaptureStamp stamp;
    const QByteArray folder = QFile::encodeName(record.folder);
    for (const char* name : {transcriptName, notesName, screenName}) {
        addStamp(folder, name, stamp);
    }
    if (record.meta.kind == CaptureKind::session) {
        addStamp(folder, sessionName, stamp);
    }
    addStamp(folder, handoffsName, stamp);
    for (const QByteArray& name : handoffs) {
        addStamp(folder + '/' + handoffsName, name, stamp);
    }
    return stamp;
}

/// Reads a file whole into the buffer and adds its state, taken before, to the stamp. False when there is
/// nothing to read.
bool CaptureReader::readFile(int folder, const QByteArray& name, const QString& prefix,
                             CaptureReading& reading) {
    const Read read = fillBuffer(folder, name, reading.stamp);
    if (read == Read::failed) {
        reading.unreadable += prefix + QFile::decodeName(name);
    }
    return read == Read::whole;
}

CaptureReader::Read CaptureReader::fillBuffer(int folder, const QByteArray& name, CaptureStamp& stamp) {
    constexpr qint64 most = qint64(256) * 1024 * 1024;
    m_size = 0;
    // Without O_NONBLOCK a fifo would hold us for ever.
    const Descriptor file(
        openTold(folder, name.constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY, stamp.isShared));
    struct stat status{};
    if (file < 0 || fstat(file, &status) != 0) {
        // A capture that has gone meanwhile has nothing to read.
        const bool isThere = errno != ENOENT && errno != EBADF && errno != ENOTDIR;
        stamp.addMissing();
        return isThere ? Read::failed : Read::nothing;
    }
    stamp.add(status);
    if (!S_ISREG(status.st_mode) || status.st_size > most) {
        return Read::failed;
    }
    stamp.isShared = stamp.isShared || status.st_nlink > 1;
    if (std::ssize(m_buffer) < status.st_size) {
        m_buffer.resize(size_t(status.st_size));
    }
    while (m_size < status.st_size) {
        const ssize_t got = ::read(file, m_buffer.data() + m_size, size_t(status.st_size - m_size));
        if (got < 0) {
            return Read::failed;
        }
        if (got == 0) {
            break;
        }
        m_size += got;
    }
    return m_size > 0 ? Read::whole : Read::nothing;
}

/// The lines of the text in the buffer. False when it is no UTF-8.
bool CaptureReader::addText(SearchHit::Kind kind, bool skipsHeadings) {
    constexpr QByteArrayView byteOrderMark = "\xef\xbb\xbf";
    const QByteArrayView all(m_buffer.data(), m_size);
    if (!all.isValidUtf8()) {
        return false;
    }
    m_builder.addLines(kind, all.startsWith(byteOrderMark) ? all.sliced(byteOrderMark.size()) : all,
                       skipsHeadings);
    return true;
}

bool CaptureReader::addTranscript() {
    if (!m_scan.read({m_buffer.data(), m_size})) {
        const auto segments = transcript::decodeWhole(QByteArray::fromRawData(m_buffer.data(), m_size));
        for (const TranscriptSegment& paragraph :
             transcript::merged(segments.value_or(TranscriptSegments()))) {
            m_builder.addSpeech(paragraph.speaker, paragraph.start, paragraph.text.toUtf8());
        }
        return segments.has_value();
    }
    if (isOrdered(m_scan.segments())) {
        addParagraphs(m_scan.segments(), m_builder);
        return true;
    }
    std::vector<TranscriptScan::Segment> ordered(m_scan.segments().begin(), m_scan.segments().end());
    std::ranges::stable_sort(ordered, {}, &TranscriptScan::Segment::start);
    addParagraphs(ordered, m_builder);
    return true;
}

bool CaptureReader::addSession() {
    const auto entries = SessionLog::decode(QByteArray::fromRawData(m_buffer.data(), m_size));
    for (const SessionEntry& entry : entries.value_or(SessionEntries())) {
        const QString answer = entry.reply.isEmpty() ? QString() : u'\n' + entry.reply;
        m_builder.add(SearchHit::Kind::transcript, (entry.prompt + answer).toUtf8());
    }
    return entries.has_value();
}

void CaptureReader::addHandoffs(int folder, CaptureReading& reading) {
    const Descriptor handoffs(
        openTold(folder, handoffsName, O_RDONLY | O_DIRECTORY | O_NONBLOCK, reading.stamp.isShared));
    struct stat status{};
    if (handoffs < 0 || fstat(handoffs, &status) != 0) {
        reading.stamp.addMissing();
        return;
    }
    reading.stamp.add(status);
    reading.hasHandoffs = true;
    reading.handoffs = listResults(handoffs);
    for (const QByteArray& name : std::as_const(reading.handoffs)) {
        if (readFile(handoffs, name, u"handoffs/"_s, reading)) {
            m_builder.beginHandoff(QFile::decodeName(name.chopped(3)));
            if (!addText(SearchHit::Kind::handoff, true)) {
                reading.unreadable += u"handoffs/"_s + QFile::decodeName(name);
            }
        }
    }
}

}  // namespace lumbro
