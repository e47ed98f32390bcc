#include "cli/Arguments.h"

namespace lumbro::cli {

namespace {

constexpr OptionInfo jsonOption{"json", "", "print one JSON document"};

QString toText(std::string_view text) {
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

const OptionInfo* findOption(const CommandInfo& command, const QString& word) {
    if (word == u"--json") {
        return &jsonOption;
    }
    for (const OptionInfo& option : command.options) {
        const bool isLong = word.startsWith(u"--") && word.sliced(2) == toText(option.name);
        const bool isShort = option.letter != 0 && word == u'-' + QString(QLatin1Char(option.letter));
        if (isLong || isShort) {
            return &option;
        }
    }
    return nullptr;
}

// A negative number is no option, since none is named by a digit.
bool looksLikeOption(const QString& word) {
    return word.size() > 1 && word.startsWith(u'-') && !word.at(1).isDigit();
}

Result<> checkNumber(const OptionInfo& option, const QString& value) {
    bool isNumber = false;
    const int number = value.toInt(&isNumber);
    if (option.isNumber && (!isNumber || number < 1)) {
        return fail(u"--%1 takes a whole number of 1 or more, not \"%2\"."_s.arg(toText(option.name), value));
    }
    return {};
}

Result<> checkCount(const CommandInfo& command, const QStringList& words) {
    if (words.size() < command.leastPositionals) {
        return fail(u"Something is missing after \"%1\"."_s.arg(toText(command.name)));
    }
    if (words.size() > command.mostPositionals) {
        return fail(u"\"%1\" is one word too many."_s.arg(words.at(command.mostPositionals)));
    }
    return {};
}

}  // namespace

Result<Arguments> Arguments::parse(const CommandInfo& command, const QStringList& words) {
    Arguments result;
    bool optionsEnded = false;
    for (qsizetype i = 0; i < words.size(); ++i) {
        const QString& word = words.at(i);
        if (optionsEnded || !looksLikeOption(word)) {
            result.m_positionals += word;
            continue;
        }
        if (word == u"--") {
            optionsEnded = true;
            continue;
        }
        const qsizetype equals = word.startsWith(u"--") ? word.indexOf(u'=') : -1;
        const OptionInfo* option = findOption(command, equals < 0 ? word : word.first(equals));
        if (option == nullptr) {
            return fail(u"\"%1\" has no option %2."_s.arg(toText(command.name), word));
        }
        const bool takesValue = !option->value.empty();
        if (!takesValue && equals >= 0) {
            return fail(u"--%1 takes no value."_s.arg(toText(option->name)));
        }
        if (takesValue && equals < 0 && i + 1 == words.size()) {
            return fail(u"%1 needs a value: %2."_s.arg(word, toText(option->value)));
        }
        const QString value = !takesValue ? QString() : equals < 0 ? words.at(++i) : word.sliced(equals + 1);
        if (const auto checked = checkNumber(*option, value); !checked) {
            return std::unexpected(checked.error());
        }
        result.m_values.insert(toText(option->name), value);
    }
    if (const auto checked = checkCount(command, result.m_positionals); !checked) {
        return std::unexpected(checked.error());
    }
    return result;
}

bool Arguments::has(std::string_view option) const {
    return m_values.contains(toText(option));
}

std::optional<QString> Arguments::value(std::string_view option) const {
    const auto found = m_values.constFind(toText(option));
    return found == m_values.constEnd() ? std::nullopt : std::optional(*found);
}

std::optional<int> Arguments::number(std::string_view option) const {
    const auto text = value(option);
    return text ? std::optional(text->toInt()) : std::nullopt;
}

}  // namespace lumbro::cli
