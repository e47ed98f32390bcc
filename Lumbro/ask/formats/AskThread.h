#pragma once

#include "ask/formats/AskAnswer.h"
#include "ask/formats/AskScope.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace lumbro {

/// One question with its answer.
struct AskTurn {
    QString question;
    /// Without its lines of sources and action.
    QString answer;
    /// What the answer rests on, as far as it could be found; at most 3.
    QList<AskSource> sources;
    /// When the answer came.
    QDateTime date;
    /// Lower-case word of the application that the answer was prepared for.
    std::optional<QString> action;
    /// Id of the engine that ran, if one did.
    std::optional<QString> engine;
    /// The sources as the model wrote them, all of them: what the file keeps.
    QStringList rawSources;

    bool operator==(const AskTurn&) const = default;

    /// For lists: the date as seconds since 1970, "-", and a hash of the question.
    QString id() const;
};

/// A conversation about the library. Its identity is its file.
struct AskThread {
    /// The file's name without its extension.
    QString id;
    /// The first question, shortened.
    QString title;
    QDateTime created;
    /// Oldest first.
    QList<AskTurn> turns;
    /// The file's path. A thread without an answer has no file yet.
    QString path;
    /// What the thread is about; nothing before the first question, and in files without one.
    std::optional<AskScope> scope;

    bool operator==(const AskThread&) const = default;

    /// The date of the last answer, or of the thread's making when there is none.
    QDateTime updated() const;

    /// The title of a thread that begins with this question: cut when it has 71 characters or more.
    static QString titleFor(const QString& question);
    /// The name of the thread's file without extension, "<stamp>-<words>", when that is not taken.
    static QString nameFor(const QString& question, const QDateTime& now);
};

}  // namespace lumbro
