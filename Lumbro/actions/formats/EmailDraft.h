#pragma once

#include "LumbroCore/Failure.h"

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
    /// Leaves out what makes the address longer than `mostBytes`: the body's end, between two words if
    /// possible, and where that does not suffice the subject's end. True when anything was. A recipient never
    /// is: fails with a sentence when they alone are too long.
    Result<bool> fit(qsizetype mostBytes = mostUrlBytes);
    /// The "mailto:" address with everything in it.
    QByteArray url() const;
};

}  // namespace lumbro
