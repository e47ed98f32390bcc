#include "library/formats/TranscriptSegment.h"

#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cmath>

namespace lumbro {

QString rawValue(Speaker speaker) {
    return speaker == Speaker::me ? u"Me"_s : u"Them"_s;
}

std::optional<Speaker> speakerFrom(const QString& rawValue) {
    if (rawValue == u"Me") {
        return Speaker::me;
    }
    if (rawValue == u"Them") {
        return Speaker::them;
    }
    return std::nullopt;
}

std::optional<TranscriptSegment> TranscriptSegment::fromJson(const QJsonObject& json) {
    const QString idText = json[u"id"_s].toString();
    const QUuid id = QUuid::fromString(idText);
    // What is no id reads as the one of zeros, which a file may hold as well.
    const bool hasId = !id.isNull() || idText == id.toString(QUuid::WithoutBraces);
    const auto speaker = speakerFrom(json[u"speaker"_s].toString());
    const QJsonValue start = json[u"start"_s];
    const QJsonValue text = json[u"text"_s];
    if (!hasId || !speaker || !start.isDouble() || !text.isString()) {
        return std::nullopt;
    }
    return TranscriptSegment{id, *speaker, start.toDouble(), text.toString()};
}

QJsonObject TranscriptSegment::toJson() const {
    return {{u"id"_s, id.toString(QUuid::WithoutBraces).toUpper()},
            {u"speaker"_s, rawValue(speaker)},
            {u"start"_s, start},
            {u"text"_s, text}};
}

namespace transcript {

namespace {

constexpr double paragraphSeconds = 45.0;

}  // namespace

TranscriptSegments decode(const QByteArray& bytes) {
    return decodeWhole(bytes).value_or(TranscriptSegments());
}

std::optional<TranscriptSegments> decodeWhole(const QByteArray& bytes) {
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    if (!document.isArray()) {
        return std::nullopt;
    }
    TranscriptSegments segments;
    const QJsonArray values = document.array();
    for (const auto& value : values) {
        auto segment = TranscriptSegment::fromJson(value.toObject());
        if (!segment) {
            return std::nullopt;
        }
        segments.append(std::move(*segment));
    }
    return segments;
}

QByteArray encode(const TranscriptSegments& segments) {
    QJsonArray values;
    for (const TranscriptSegment& segment : segments) {
        values.append(segment.toJson());
    }
    return json::encode(values);
}

TranscriptSegments merged(TranscriptSegments segments) {
    std::ranges::stable_sort(segments, {}, &TranscriptSegment::start);
    TranscriptSegments paragraphs;
    for (TranscriptSegment& segment : segments) {
        const bool continues = !paragraphs.isEmpty() && paragraphs.last().speaker == segment.speaker &&
                               segment.start - paragraphs.last().start < paragraphSeconds;
        if (continues) {
            paragraphs.last().text += u' ' + segment.text;
        } else {
            paragraphs.append(std::move(segment));
        }
    }
    return paragraphs;
}

QString timestamp(double seconds) {
    // A broken file may hold any number; what no recording reaches is cut.
    constexpr double limit = 3'600'000'000.0;
    const auto whole = static_cast<qint64>(std::floor(std::clamp(seconds, 0.0, limit)));
    return u"%1:%2:%3"_s.arg(whole / 3600, 2, 10, QLatin1Char('0'))
        .arg(whole % 3600 / 60, 2, 10, QLatin1Char('0'))
        .arg(whole % 60, 2, 10, QLatin1Char('0'));
}

QString line(const TranscriptSegment& segment) {
    return u"["_s + timestamp(segment.start) + u"] "_s + rawValue(segment.speaker) + u": "_s + segment.text;
}

QString markdown(const TranscriptSegments& segments, const QString& title) {
    QString text = u"# "_s + title + u"\n\n"_s;
    for (const TranscriptSegment& paragraph : merged(segments)) {
        text += line(paragraph) + u'\n';
    }
    return text;
}

}  // namespace transcript

}  // namespace lumbro
