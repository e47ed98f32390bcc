#include "memory/LibrarianInput.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "chats/formats/SessionEntry.h"
#include "chats/formats/SessionLog.h"
#include "engines/formats/EngineInput.h"
#include "library/ContextLibrary.h"

#include <QFileInfo>

#include <algorithm>

namespace lumbro {

namespace {

constexpr qsizetype wordsToPassOver = 14;
constexpr qsizetype charactersInBatch = 40'000;

qsizetype pieces(const QString& text) {
    return text.split(u' ', Qt::SkipEmptyParts).size();
}

/// Whether the file is there and `decode` gives nothing for it.
bool isBroken(const CaptureRecord& record, const QString& name, const auto& decode) {
    const QString path = record.path(name);
    const auto bytes = readFile(path);
    return bytes ? !decode(*bytes) : QFileInfo::exists(path);
}

LibrarianInput ofCapture(const CaptureRecord& record, const ContextLibrary& library) {
    const TranscriptSegments segments = library.segments(record);
    const QString notes = library.notes(record);
    qsizetype words = pieces(notes);
    words += pieces(readTextFile(record.path(u"screen.md"_s)).value_or(QString()));
    for (const TranscriptSegment& segment : segments) {
        words += pieces(segment.text);
    }
    if (words <= wordsToPassOver) {
        // It may be that the words are just in there.
        const QString file = u"transcript.json"_s;
        const bool isLost = segments.isEmpty() && isBroken(record, file, transcript::decodeWhole);
        return {.text = {}, .through = std::nullopt, .brokenFile = isLost ? file : QString()};
    }
    return {EngineInput::build(record, segments, notes), std::nullopt, {}};
}

/// The oldest of the entries that fit in one run; never none as long as there is one. Those of one moment
/// stay together, as the cursor cannot stand between them.
SessionEntries nextBatch(SessionEntries entries) {
    std::ranges::stable_sort(entries, {}, &SessionEntry::time);
    qsizetype characters = 0;
    qsizetype count = 0;
    for (const SessionEntry& entry : entries) {
        characters += entry.prompt.size() + entry.reply.size();
        if (characters > charactersInBatch && count > 0 && entry.time > entries.at(count - 1).time) {
            break;
        }
        ++count;
    }
    return entries.first(count);
}

LibrarianInput ofSession(const CaptureRecord& record) {
    const QByteArray bytes = readFile(record.path(SessionLog::jsonName())).value_or(QByteArray());
    const SessionEntries all = SessionLog::decode(bytes).value_or(SessionEntries());
    if (all.isEmpty() && isBroken(record, SessionLog::jsonName(), SessionLog::decode)) {
        return {.text = {}, .through = std::nullopt, .brokenFile = SessionLog::jsonName()};
    }
    const SessionEntries batch = nextBatch(SessionLog::unread(all, record.meta));
    if (batch.isEmpty()) {
        return {};
    }
    LibrarianInput input{{}, batch.last().time, {}};
    // Of what was said alone: the headings of any log have more words than that.
    qsizetype words = 0;
    for (const SessionEntry& entry : batch) {
        words += pieces(entry.prompt) + pieces(entry.reply);
    }
    if (words > wordsToPassOver) {
        input.text = u"# CAPTURE: %1 (%2)\n\n## CLAUDE CODE SESSIONS (new since last read)\n"_s.arg(
                         record.meta.title, dates::readableDay(record.meta.startedAt)) +
                     SessionLog::markdown(batch, record.meta.title);
    }
    return input;
}

}  // namespace

LibrarianInput LibrarianInput::of(const CaptureRecord& record, const ContextLibrary& library) {
    switch (record.meta.kind) {
        case CaptureKind::prep:
            return {};
        case CaptureKind::session:
            return ofSession(record);
        default:
            return ofCapture(record, library);
    }
}

}  // namespace lumbro
