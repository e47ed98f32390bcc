#pragma once

#include "actions/formats/EventDraft.h"
#include "cli/Runner.h"

#include <QDate>
#include <QList>
#include <QString>
#include <QStringList>

#include <expected>
#include <optional>
#include <utility>

namespace lumbro::cli {

/// A text that a model wrote, out of which tasks, events and mails are made, and what is known about it.
struct DraftText {
    QString text{};
    /// The name of the engine that wrote it; may be empty.
    QString title{};
    /// The application that it was prepared for, in lower case; may be empty.
    QString app{};
    /// The day that words such as "Friday" count from.
    std::optional<QDate> madeOn{};
    /// Where it comes from, as tasks and events tell it.
    QString taskNote{};
    QString eventNote{};
    /// Whom a mail of it goes to.
    QStringList recipients{};

    /// It was prepared as a mail, or looks like one.
    bool isMail() const;
};

/// The texts that a command's option --from names, the likeliest first, and at least one: the results of
/// "capture:ID" and the notes, the answers of "ask:ID" from the newest on, or "-" for standard input. Else
/// the command's exit status, after a sentence that says what to do.
std::expected<QList<DraftText>, int> draftsFor(const CommandContext& context, const QString& command);

/// The first event in the texts, with the note that tells where it comes from.
std::optional<std::pair<EventDraft, QString>> firstEvent(const QList<DraftText>& texts);
/// What is said when there is none.
inline const QString noTimeSentence = u"Lumbro couldn't read a time. Ask again with a day."_s;

}  // namespace lumbro::cli
