#include "cli/CaptureJson.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Dates.h"
#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"

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

template <typename Value>
void addSome(json::ObjectWriter& writer, const char* key, const std::optional<Value>& value) {
    if (!value) {
        return;
    }
    if constexpr (std::is_same_v<Value, QDateTime>) {
        writer.add(key, dates::iso(*value));
    } else {
        writer.add(key, *value);
    }
}

// The same keys as `captureJson`, without a JSON value for each of thousands of captures.
void writeEntry(QByteArray& out, const CaptureSummary& summary) {
    const CaptureMeta& meta = summary.record.meta;
    json::ObjectWriter writer(out, 1);
    addSome(writer, "attendeeEmails", meta.attendeeEmails);
    addSome(writer, "attendees", meta.attendees);
    addSome(writer, "callApp", meta.callApp);
    addSome(writer, "callAppBundleID", meta.callAppBundleID);
    addSome(writer, "endedAt", meta.endedAt);
    addSome(writer, "eventID", meta.eventID);
    writer.add("handoffs", summary.handoffs);
    writer.add("id", summary.record.id());
    writer.add("kind", rawValue(meta.kind));
    addSome(writer, "memorizedAt", meta.memorizedAt);
    addSome(writer, "sessionCursor", meta.sessionCursor);
    addSome(writer, "sessionKey", meta.sessionKey);
    writer.add("sources", meta.sources);
    writer.add("startedAt", dates::iso(meta.startedAt));
    writer.add("title", meta.title);
    writer.add("words", summary.words);
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
    details.paragraphs = transcript::merged(segments.value_or(TranscriptSegments()));
    details.notes = readTextFile(record.path(u"notes.md"_s)).value_or(QString());
    for (const QString& engine : details.summary.handoffs) {
        if (const auto text = readTextFile(record.path(u"handoffs/"_s + engine + u".md"_s))) {
            details.handoffs.insert(engine, *text);
        }
    }
    details.audio = audioOf(record);
    return details;
}

QJsonObject captureJson(const CaptureSummary& summary) {
    QJsonObject json = summary.record.meta.toJson();
    json.insert(u"id"_s, summary.record.id());
    json.insert(u"words"_s, summary.words);
    json.insert(u"handoffs"_s, QJsonArray::fromStringList(summary.handoffs));
    return json;
}

QByteArray captureListJson(const QList<CaptureSummary>& summaries) {
    constexpr qsizetype usualSize = 512;
    QByteArray out;
    out.reserve(summaries.size() * usualSize);
    out += '[';
    for (qsizetype i = 0; i < summaries.size(); ++i) {
        out += i > 0 ? ",\n  " : "\n  ";
        writeEntry(out, summaries.at(i));
    }
    out += summaries.isEmpty() ? "]" : "\n]";
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
    return json;
}

}  // namespace lumbro::cli
