#pragma once

#include <QString>
#include <QStringList>

#include <span>
#include <string_view>

namespace lumbro::cli {

/// An option of a command. Without `value` it is a flag.
struct OptionInfo {
    std::string_view name;
    std::string_view value;
    std::string_view meaning;
    /// One letter that means the same, or 0.
    char letter = 0;
    /// The value is a whole number of 1 or more.
    bool isNumber = false;
};

/// A command as the help tells it and the parser takes it.
struct CommandInfo {
    /// One or two words, for example "engines show".
    std::string_view name;
    std::string_view summary;
    /// What stands after the name, for example "FILE [--title T]".
    std::string_view usage;
    int leastPositionals = 0;
    int mostPositionals = 0;
    std::span<const OptionInfo> options;
    std::string_view example;
    /// Sentences for the command's own help.
    std::string_view details;
};

/// Every command, in the order of the help.
std::span<const CommandInfo> commandTable();

/// The command that the words begin with, and how many words its name took; null when they name none. Longer
/// names win.
struct CommandMatch {
    const CommandInfo* command = nullptr;
    int words = 0;
};
CommandMatch findCommand(const QStringList& words);

/// The whole program's help, and one command's.
QString programHelp();
QString commandHelp(const CommandInfo& command);
/// The commands that begin with this word, for one that is no command itself; empty when none does.
QString groupHelp(const QString& word);
/// "usage: lumbro captures [--limit N] [--json]", one line.
QString usageLine(const CommandInfo& command);

}  // namespace lumbro::cli
