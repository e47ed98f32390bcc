#pragma once

#include "ask/formats/AskLookup.h"
#include "ask/formats/AskThread.h"

#include <QByteArray>
#include <QString>

/// The file of a thread: markdown that a person can read, with all that the thread needs.
namespace lumbro::askThreadFile {

/// The thread in a file's text. Any text gives one; a turn without an answer is dropped.
AskThread read(const QString& text, const QString& path, const AskLookup& lookup);
/// The whole file.
QByteArray write(const AskThread& thread);

}  // namespace lumbro::askThreadFile
