#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace lumbro {

/// A mail as it is handed to the user's mail program. Nothing here sends one.
struct EmailDraft {
    QStringList to;
    QString subject;
    QString body;

    bool operator==(const EmailDraft&) const = default;

    /// Any text: the first line that begins with "Subject" gives the subject, all other lines are the body.
    static EmailDraft parse(const QString& text, const QStringList& recipients);
    static bool looksLikeEmail(const QString& title, const QString& body);

    /// The longest address that can be handed to a program as one argument, in bytes, with some room.
    static constexpr qsizetype mostUrlBytes = qsizetype(120) * 1024;
    /// A "mailto:" address with everything in it. Where it is longer than `mostBytes`, the body's end is left
    /// out, between two words if possible, and `isCut` is set.
    struct Url {
        QByteArray text;
        bool isCut = false;
    };
    Url url(qsizetype mostBytes = mostUrlBytes) const;
};

}  // namespace lumbro
