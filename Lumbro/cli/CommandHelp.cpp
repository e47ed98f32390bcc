#include "LumbroCore/Literals.h"
#include "cli/CommandTable.h"

namespace lumbro::cli {

namespace {

QString toText(std::string_view text) {
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

QString row(const QString& name, const QString& meaning, qsizetype width) {
    return u"  "_s + name.leftJustified(width) + u"  "_s + meaning + u'\n';
}

QString optionRow(const OptionInfo& option) {
    QString name = option.letter == 0 ? u"    "_s : u"-%1, "_s.arg(QLatin1Char(option.letter));
    name += u"--"_s + toText(option.name);
    if (!option.value.empty()) {
        name += u' ' + toText(option.value);
    }
    return row(name, toText(option.meaning), 20);
}

// Lines of at most 80 columns.
QString wrapped(const QString& text) {
    QString result;
    qsizetype column = 0;
    for (const QString& word : text.split(u' ')) {
        if (column > 0 && column + 1 + word.size() > 80) {
            result += u'\n';
            column = 0;
        }
        result += column > 0 ? u" "_s + word : word;
        column += word.size() + (column > 0 ? 1 : 0);
    }
    return result;
}

/// What begins with this word and a blank.
QString rowsBelow(const QString& word) {
    QString rows;
    for (const CommandInfo& command : commandTable()) {
        if (toText(command.name).startsWith(word + u' ')) {
            rows += row(toText(command.name) + u' ' + toText(command.usage), toText(command.summary), 22);
        }
    }
    return rows;
}

}  // namespace

QString usageLine(const CommandInfo& command) {
    QString line = u"usage: lumbro "_s + toText(command.name);
    if (!command.usage.empty()) {
        line += u' ' + toText(command.usage);
    }
    return line + u" [--json]"_s;
}

QString programHelp() {
    QString text =
        u"lumbro records calls, transcribes them on this machine and has your own agent write the "
        u"notes.\n\n"
        u"usage: lumbro                 run the application until Ctrl-C\n"
        u"       lumbro COMMAND [ARGUMENTS] [--json]\n\n"
        u"commands:\n"_s;
    for (const CommandInfo& command : commandTable()) {
        const bool isShorthand = command.name == "speech" || command.name == "settings" ||
                                 command.name == "memory" || command.summary == "the same";
        if (!isShorthand) {
            text += row(toText(command.name), toText(command.summary), 15);
        }
    }
    text +=
        u"\nFirst steps: `lumbro doctor` says what is missing, `lumbro demo` shows the whole way.\n"
        u"`lumbro COMMAND --help` explains a command; `lumbro --version` prints the version.\n"
        u"The library is ~/Quillet, or the folder in QUILLET_ROOT.\n"_s;
    return text;
}

QString groupHelp(const QString& word) {
    const QString below = rowsBelow(word);
    return below.isEmpty() ? QString()
                           : u"usage: lumbro %1 COMMAND [ARGUMENTS] [--json]\n\ncommands:\n"_s.arg(word) +
                                 below + u"\n`lumbro %1 COMMAND --help` explains a command.\n"_s.arg(word);
}

QString commandHelp(const CommandInfo& command) {
    QString text = usageLine(command) + u"\n\n"_s;
    QString summary = toText(command.summary);
    summary[0] = summary.at(0).toUpper();
    text += summary + u".\n"_s;
    if (!command.details.empty()) {
        text += wrapped(toText(command.details)) + u'\n';
    }
    const QString below = rowsBelow(toText(command.name));
    text += below.isEmpty() ? u""_s : u"\ncommands:\n"_s + below;
    text += u"\noptions:\n"_s;
    for (const OptionInfo& option : command.options) {
        text += optionRow(option);
    }
    text += optionRow({"json", "", "print one JSON document"});
    text += optionRow({"help", "", "print this help", 'h'});
    return text + u"\nexample:\n  "_s + toText(command.example) + u'\n';
}

}  // namespace lumbro::cli
