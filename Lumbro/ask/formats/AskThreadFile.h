#pragma once

#include "ask/formats/AskLookup.h"
#include "ask/formats/AskThread.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

/// The file of a thread: markdown that a person can read, with all that the thread needs.
namespace lumbro::askThreadFile {

/// The thread in a file's text. Any text gives one; a turn without an answer is dropped.
AskThread read(const QString& text, const QString& path, const AskLookup& lookup);
/// The whole file.
QByteArray write(const AskThread& thread);
/// A file's bytes with turns at the end. What stands there stays as it is; only the scope, when the file
/// names none, gets its line at the top.
QByteArray appended(const QByteArray& bytes, const std::optional<AskScope>& scope,
                    const QList<AskTurn>& turns);

}  // namespace lumbro::askThreadFile
