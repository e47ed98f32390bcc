#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>

namespace lumbro {

enum class CaptureKind { meeting, thought, screenshot, selection, clipboard, prep, session };

/// The kind's word in files and folder names, and back.
QString rawValue(CaptureKind kind);
std::optional<CaptureKind> captureKind(const QString& rawValue);

/// What is known of a capture beside its text and audio: the content of `meta.json`.
struct CaptureMeta {
    /// A file of more bytes is no `meta.json`.
    static constexpr qint64 mostBytes = qint64(1024) * 1024;

    QString title;
    CaptureKind kind = CaptureKind::meeting;
    QDateTime startedAt;
    /// Absent while recording; its presence marks a finished capture.
    std::optional<QDateTime> endedAt;
    /// What was recorded: "mic", "system".
    QStringList sources;
    std::optional<QStringList> attendees;
    std::optional<QStringList> attendeeEmails;
    std::optional<QString> eventID;
    std::optional<QDateTime> memorizedAt;
    std::optional<QString> sessionKey;
    std::optional<QDateTime> sessionCursor;
    std::optional<QString> callApp;
    std::optional<QString> callAppBundleID;

    bool operator==(const CaptureMeta&) const = default;

    /// Nothing when a required key is missing or any known key has the wrong type.
    static std::optional<CaptureMeta> fromJson(const QJsonObject& json);
    /// The same for the bytes of a file, which need not hold an object. Any thread.
    static std::optional<CaptureMeta> fromBytes(const QByteArray& bytes);
    QJsonObject toJson() const;
};

/// A capture: its folder (an absolute path) and its meta.
struct CaptureRecord {
    QString folder;
    CaptureMeta meta;

    /// The folder's name, which is the capture's id everywhere.
    QString id() const;
    /// A file of the capture by its name in the folder.
    QString path(const QString& name) const { return folder + u'/' + name; }

    bool operator==(const CaptureRecord&) const = default;
};

}  // namespace lumbro
