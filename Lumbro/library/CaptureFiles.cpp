#include "library/CaptureFiles.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "library/CaptureLock.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>

#include <sys/stat.h>

namespace lumbro::captureFiles {

namespace {

QString metaPath(const CaptureRecord& record) {
    return record.path(u"meta.json"_s);
}

QString transcriptPath(const CaptureRecord& record) {
    return record.path(u"transcript.json"_s);
}

QString notesPath(const CaptureRecord& record) {
    return record.path(u"notes.md"_s);
}

QString handoffsPath(const CaptureRecord& record) {
    return record.path(u"handoffs"_s);
}

QString wordsMark(const CaptureRecord& record) {
    return record.path(u".transcribing"_s);
}

std::optional<TranscriptSegments> readSegments(const CaptureRecord& record) {
    const auto bytes = readFile(transcriptPath(record));
    return bytes ? transcript::decodeWhole(*bytes) : std::nullopt;
}

bool hasThreeWords(const TranscriptSegments& segments) {
    int words = 0;
    for (const TranscriptSegment& segment : segments) {
        words += wordCount(segment.text);
        if (words >= 3) {
            return true;
        }
    }
    return false;
}

}  // namespace

TranscriptSegments segments(const CaptureRecord& record, BrokenFiles& broken) {
    auto segments = readSegments(record);
    if (!segments && QFileInfo::exists(transcriptPath(record))) {
        broken.report(transcriptPath(record), u"; it stays as it is"_s);
    }
    return std::move(segments).value_or(TranscriptSegments());
}

QString notes(const CaptureRecord& record, BrokenFiles& broken) {
    auto text = readTextFile(notesPath(record));
    if (!text && QFileInfo::exists(notesPath(record))) {
        broken.report(notesPath(record), u" as UTF-8 text; it stays as it is"_s);
    }
    return std::move(text).value_or(QString());
}

QMap<QString, QString> handoffs(const CaptureRecord& record, BrokenFiles& broken) {
    QMap<QString, QString> texts;
    const QDir folder(handoffsPath(record));
    const QStringList names = folder.entryList({u"*.md"_s}, QDir::Files | QDir::Hidden | QDir::CaseSensitive);
    for (const QString& name : names) {
        if (auto text = readTextFile(folder.filePath(name))) {
            texts[name.chopped(3)] = std::move(*text);
        } else {
            broken.report(folder.filePath(name), u" as UTF-8 text; it stays as it is"_s);
        }
    }
    return texts;
}

Result<> writeTranscript(const TranscriptSegments& segments, const CaptureRecord& record) {
    Result<> json = writeFileAtomically(transcriptPath(record), transcript::encode(segments));
    Result<> markdown = writeFileAtomically(record.path(u"transcript.md"_s),
                                            transcript::markdown(segments, record.meta.title).toUtf8());
    return json ? std::move(markdown) : std::move(json);
}

Result<> writeHandoff(const QString& text, const QString& engineID, const CaptureRecord& record) {
    // The capture may have been deleted meanwhile: making its folder anew would leave a ghost of it.
    if (mkdir(QFile::encodeName(handoffsPath(record)).constData(), S_IRWXU) != 0 && errno == ENOENT) {
        return fail(FailureKind::notFound,
                    u"The capture %1 is not in the library any more."_s.arg(record.id()));
    }
    return writeFileAtomically(handoffsPath(record) + u'/' + engineID + u".md"_s, text.toUtf8());
}

std::optional<CaptureMeta> meta(const CaptureRecord& record) {
    const auto bytes = readFile(metaPath(record));
    return bytes ? CaptureMeta::fromBytes(*bytes) : std::nullopt;
}

Result<> writeMeta(const CaptureRecord& record) {
    const auto before = meta(record);
    Result<> written = writeFileAtomically(metaPath(record), json::encode(record.meta.toJson()));
    if (written && before && before->title != record.meta.title) {
        return retitleTranscript(record);
    }
    return written;
}

Result<> retitleTranscript(const CaptureRecord& record) {
    // Only the first line: the transcript itself may be broken, and what is readable of it shall stay.
    const QString path = record.path(u"transcript.md"_s);
    const auto text = readTextFile(path);
    if (!text || !text->startsWith(u"# ")) {
        return {};
    }
    const qsizetype end = text->indexOf(u'\n');
    const QString retitled = u"# "_s + record.meta.title + (end < 0 ? u"\n"_s : text->sliced(end));
    return retitled == *text ? Result<>() : writeFileAtomically(path, retitled.toUtf8());
}

bool isEmpty(const CaptureRecord& record) {
    if (record.meta.kind != CaptureKind::meeting && record.meta.kind != CaptureKind::thought) {
        return false;
    }
    // The cheap questions come first: start-up asks this of every capture, and transcripts are long.
    if (!QDir(handoffsPath(record))
             .isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot)) {
        return false;
    }
    const auto notes = readTextFile(notesPath(record));
    if (notes ? !notes->trimmed().isEmpty() : QFileInfo::exists(notesPath(record))) {
        return false;
    }
    const auto segments = readSegments(record);
    return segments ? !hasThreeWords(*segments) : !QFileInfo::exists(transcriptPath(record));
}

void beginWords(const CaptureRecord& record) {
    // Empty, so that it is there on a full disk too.
    QFile mark(wordsMark(record));
    [[maybe_unused]] const bool isMade = mark.open(QIODevice::WriteOnly | QIODevice::NewOnly);
}

void endWords(const CaptureRecord& record) {
    QFile::remove(wordsMark(record));
}

bool mayLackWords(const CaptureRecord& record) {
    return QFileInfo::exists(wordsMark(record)) && !CaptureLock::isHeld(record.folder);
}

bool hasSound(const CaptureRecord& record) {
    // The header of a ".caf" is padded to this; the samples follow it.
    constexpr qint64 bareHeader = 4096;
    const auto isLonger = [&record](const QString& name, qint64 size) {
        return QFileInfo(record.path(name)).size() > size;
    };
    return isLonger(u"me.caf"_s, bareHeader) || isLonger(u"them.caf"_s, bareHeader) ||
           isLonger(u"me.m4a"_s, 0) || isLonger(u"them.m4a"_s, 0);
}

}  // namespace lumbro::captureFiles
