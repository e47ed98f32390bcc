#include "cli/CaptureJson.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"
#include "chats/formats/SessionLog.h"
#include "library/CaptureFiles.h"
#include "library/CaptureScan.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>

namespace lumbro::cli {

namespace {

QMap<QString, QString> audioOf(const CaptureRecord& record) {
    QMap<QString, QString> audio;
    for (const QString& track : {u"me"_s, u"them"_s}) {
        // The packed form comes when the recording has ended.
        for (const QString& name : {track + u".m4a"_s, track + u".caf"_s}) {
            if (!audio.contains(track) && QFileInfo::exists(record.path(name))) {
                audio.insert(track, record.path(name));
            }
        }
    }
    return audio;
}

QJsonObject toObject(const QMap<QString, QString>& map) {
    QJsonObject object;
    for (auto it = map.begin(); it != map.end(); ++it) {
        object.insert(it.key(), it.value());
    }
    return object;
}

}  // namespace

CaptureDetails captureDetails(const CaptureRecord& record) {
    CaptureDetails details;
    details.summary = summarizeCapture(record);
    const QString path = record.path(u"transcript.json"_s);
    const auto bytes = readFile(path);
    const auto segments = bytes ? transcript::decodeWhole(*bytes) : std::nullopt;
    details.isTranscriptBroken = !segments && QFileInfo::exists(path);
    details.mayLackWords = captureFiles::mayLackWords(record);
    details.paragraphs = transcript::merged(segments.value_or(TranscriptSegments()));
    details.notes = readTextFile(record.path(u"notes.md"_s)).value_or(QString());
    for (const QString& engine : details.summary.handoffs) {
        if (const auto text = readTextFile(record.path(u"handoffs/"_s + engine + u".md"_s))) {
            details.handoffs.insert(engine, *text);
        }
    }
    details.audio = audioOf(record);
    if (record.meta.kind == CaptureKind::session) {
        const auto log = readFile(record.path(SessionLog::jsonName()));
        details.entries = SessionLog::decode(log.value_or(QByteArray())).value_or(SessionEntries());
    }
    return details;
}

QJsonObject captureJson(const CaptureSummary& summary) {
    QJsonObject json = summary.record.meta.toJson();
    json.insert(u"id"_s, summary.record.id());
    json.insert(u"words"_s, summary.words);
    json.insert(u"handoffs"_s, QJsonArray::fromStringList(summary.handoffs));
    return json;
}

QByteArray captureListJson(const CaptureList& list, qsizetype count) {
    qsizetype size = 8;
    for (qsizetype i = 0; i < count; ++i) {
        size += list.entry(i).size() + 4;
    }
    QByteArray out;
    out.reserve(size);
    out += '[';
    for (qsizetype i = 0; i < count; ++i) {
        out.append(i > 0 ? ",\n  " : "\n  ").append(list.entry(i));
    }
    out += count == 0 ? "]" : "\n]";
    return out;
}

QJsonObject captureJson(const CaptureDetails& details) {
    QJsonObject json = captureJson(details.summary);
    json.insert(u"folder"_s, details.summary.record.folder);
    QJsonArray segments;
    for (const TranscriptSegment& paragraph : details.paragraphs) {
        segments += QJsonObject{{u"speaker"_s, rawValue(paragraph.speaker)},
                                {u"start"_s, paragraph.start},
                                {u"text"_s, paragraph.text}};
    }
    json.insert(u"segments"_s, segments);
    json.insert(u"notes"_s, details.notes);
    json.insert(u"handoffs"_s, toObject(details.handoffs));
    json.insert(u"audio"_s, toObject(details.audio));
    if (details.mayLackWords) {
        json.insert(u"mayLackWords"_s, true);
    }
    if (details.summary.record.meta.kind == CaptureKind::session) {
        QJsonArray entries;
        for (const SessionEntry& entry : details.entries) {
            entries += entry.toJson();
        }
        json.insert(u"entries"_s, entries);
    }
    return json;
}

}  // namespace lumbro::cli
