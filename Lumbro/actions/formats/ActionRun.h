#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <optional>

namespace lumbro {

/// One thing that a run made or changed in an app.
struct ActionRunItem {
    QString title{};
    /// A link as the model gave it, on the web or of a known app: not yet one to open.
    std::optional<QString> url{};
    /// The app was asked again and shows it.
    bool verified = false;

    bool operator==(const ActionRunItem&) const = default;

    /// Any value gives an item. One that links to anything else was not made by the app: the link is left out
    /// and the item counts as not verified.
    static ActionRunItem fromJson(const QJsonValue& value);
    QJsonObject toJson() const;
};

/// A piece of work that was sent to a connected app: the content of its file in the folder "actions".
struct ActionRun {
    using Item = ActionRunItem;
    enum class Status { queued, running, done, unconfirmed, failed, stopped, interrupted };

    /// A file of more bytes is no run.
    static constexpr qint64 mostBytes = qint64(64) * 1024 * 1024;

    QString id{};
    QString key{};
    QString app{};
    QString connectorID{};
    QString icon{};
    QString instruction{};
    QString content{};
    /// Where the work comes from, in a line.
    QString about{};
    std::optional<QString> captureID{};
    std::optional<QString> askThread{};
    Status status = Status::queued;
    /// When it was queued.
    QDateTime started{};
    std::optional<QDateTime> finished{};
    /// The model's sentence, at most 140 characters.
    QString summary{};
    QList<Item> items{};
    std::optional<QString> error{};
    /// It ended before an agent was asked, so nothing can have been changed.
    bool neverStarted = false;

    bool operator==(const ActionRun&) const = default;

    /// Queued or running: not yet final.
    bool isLive() const { return status == Status::queued || status == Status::running; }
    /// The run in one line.
    QString title() const;
    /// What to look at before trying again; none where nothing may have been changed unseen.
    std::optional<QString> checkFirst() const;
    /// What is known of an end besides its error: `checkFirst`, or that there is nothing to check.
    std::optional<QString> aboutEnd() const;
    /// What the user is told before the same work is sent again. `time` is when it was sent, for people.
    QString beforeRetry(const QString& time) const;

    /// What is the same for the same content to the same connector, whatever blanks stand around it: 16
    /// hexadecimal digits.
    static QString keyFor(const QString& connectorID, const QString& content);
    static QString rawValue(Status status);
    static std::optional<Status> statusFrom(const QString& rawValue);

    /// Nothing when a required key is missing or any known key has the wrong type. Items never fail.
    static std::optional<ActionRun> fromBytes(const QByteArray& bytes);
    QJsonObject toJson() const;
};

}  // namespace lumbro
