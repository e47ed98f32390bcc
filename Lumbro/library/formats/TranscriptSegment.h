#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <QUuid>

#include <optional>

namespace lumbro {

/// Whose words: the microphone is "Me", system audio is "Them".
enum class Speaker { me, them };

QString rawValue(Speaker speaker);
std::optional<Speaker> speakerFrom(const QString& rawValue);

/// A piece of speech with its start in seconds from the capture's start.
struct TranscriptSegment {
    QUuid id = QUuid::createUuid();
    Speaker speaker = Speaker::me;
    double start = 0;
    QString text;

    bool operator==(const TranscriptSegment&) const = default;

    static std::optional<TranscriptSegment> fromJson(const QJsonObject& json);
    QJsonObject toJson() const;
};

using TranscriptSegments = QList<TranscriptSegment>;

namespace transcript {

/// The content of `transcript.json`. Bytes that do not hold a whole array of segments give none.
TranscriptSegments decode(const QByteArray& bytes);
/// The same, with nothing instead of no segments when the bytes hold anything but an array of segments.
std::optional<TranscriptSegments> decodeWhole(const QByteArray& bytes);
QByteArray encode(const TranscriptSegments& segments);

/// Paragraphs: in time order, pieces of one speaker joined by a blank as long as they start less than 45 s
/// after the paragraph's own start.
TranscriptSegments merged(TranscriptSegments segments);
/// "HH:MM:SS" of the floored seconds; hours do not wrap.
QString timestamp(double seconds);
/// "[HH:MM:SS] Me: text" of one merged segment.
QString line(const TranscriptSegment& segment);
/// The content of `transcript.md`.
QString markdown(const TranscriptSegments& segments, const QString& title);

}  // namespace transcript

}  // namespace lumbro
