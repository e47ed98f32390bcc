#include "cli/EngineOptions.h"

#include "LumbroCore/Text.h"
#include "cli/EngineCommandTable.h"
#include "cli/StandardInput.h"
#include "engines/formats/Frontmatter.h"

#include <QDir>
#include <QStringDecoder>

#include <algorithm>

#include <unistd.h>

namespace lumbro::cli {

namespace {

constexpr qint64 mostBytes = qint64(1) << 20;

std::unexpected<Failure> takesNot(const char* option, const QString& what, const QString& value) {
    return fail(u"--%1 takes %2, not \"%3\"."_s.arg(QLatin1String(option), what, value));
}

Result<bool> onOff(const char* option, const QString& value) {
    if (value != u"on" && value != u"off") {
        return takesNot(option, u"on or off"_s, value);
    }
    return value == u"on";
}

Result<> applyScope(const Arguments& arguments, EngineDraft& draft) {
    if (const auto text = arguments.value("scope")) {
        const auto scope = engineScope(text->toLower());
        if (!scope) {
            return takesNot("scope", u"meeting, library, person, company or selection"_s, *text);
        }
        draft.change(*scope);
    }
    if (const auto text = arguments.value("suggest")) {
        static const QStringList places{u"notes"_s,  u"ask"_s,     u"home"_s,
                                        u"person"_s, u"company"_s, u"live"_s};
        const QStringList wanted = *text == u"none" ? QStringList() : Frontmatter::list(text->toLower());
        for (const QString& place : wanted) {
            if (!places.contains(place)) {
                return takesNot("suggest", places.join(u", "_s) + u", or none"_s, place);
            }
        }
        draft.suggest = {wanted.begin(), wanted.end()};
    }
    return {};
}

Result<> applyResult(const Arguments& arguments, EngineDraft& draft) {
    const auto text = arguments.value("result");
    if (!text) {
        return {};
    }
    const EngineResult result = EngineResult::parsing(text);
    if (result.kind == EngineResult::Kind::handoff && text->trimmed().toLower() != u"handoff") {
        return takesNot("result", u"chat, handoff, or an action such as \"action: mail\""_s, *text);
    }
    draft.output = result.kind == EngineResult::Kind::chat     ? EngineDraft::Output::chat
                   : result.kind == EngineResult::Kind::action ? EngineDraft::Output::action
                                                               : EngineDraft::Output::handoff;
    draft.app = result.app.isEmpty() ? draft.app : result.app;
    return {};
}

Result<> applySwitches(const Arguments& arguments, EngineDraft& draft) {
    if (const auto text = arguments.value("auto")) {
        const auto value = onOff("auto", *text);
        if (!value) {
            return std::unexpected(value.error());
        }
        if (*value && draft.scope != EngineScope::meeting) {
            return fail(u"Only an engine for meetings can run after every meeting; add --scope meeting."_s);
        }
        draft.automatic = *value;
    }
    if (const auto text = arguments.value("voice")) {
        const auto value = onOff("voice", *text);
        if (!value) {
            return std::unexpected(value.error());
        }
        draft.voice = *value;
    }
    return {};
}

void applyTexts(const Arguments& arguments, EngineDraft& draft) {
    draft.name = arguments.value("name").value_or(draft.name);
    draft.description = arguments.value("description").value_or(draft.description);
    draft.model = arguments.value("model").value_or(draft.model);
    draft.icon = arguments.value("icon").value_or(draft.icon);
    if (const auto word = arguments.value("shortcut")) {
        draft.shortcut = trimmedOf(*word, u"/ ").toString();
    }
}

/// An absolute folder as the reader takes it; "~/" stays.
QString folderText(const QString& path) {
    const bool isHome = path == u"~" || path.startsWith(u"~/");
    return isHome ? path : QDir::cleanPath(QDir::current().absoluteFilePath(path));
}

}  // namespace

Result<> EngineOptions::apply(const Arguments& arguments, EngineDraft& draft) {
    applyTexts(arguments, draft);
    for (const auto step : {applyScope, applyResult, applySwitches}) {
        if (const auto done = step(arguments, draft); !done) {
            return done;
        }
    }
    return {};
}

Result<std::optional<QString>> EngineOptions::prompt(const Arguments& arguments) {
    const auto text = arguments.value("prompt");
    if (!text) {
        return std::nullopt;
    }
    const auto read = argumentText(*text);
    if (!read) {
        return std::unexpected(read.error());
    }
    return read->trimmed();
}

Result<QList<EngineField>> EngineOptions::more(const Arguments& arguments) {
    QList<EngineField> fields;
    for (const char* key : {"watch", "tools", "workdir", "timeout"}) {
        const auto text = arguments.value(key);
        if (!text) {
            continue;
        }
        const QString value = text->trimmed();
        const bool isFolder = key == std::string_view("watch") || key == std::string_view("workdir");
        if (value.isEmpty()) {
            return fail(u"--%1 needs a value; none takes it away."_s.arg(QLatin1String(key)));
        }
        if (value == u"none") {
            fields.append({QLatin1String(key), std::nullopt});
        } else if (key == std::string_view("tools")) {
            fields.append({QLatin1String(key), u'[' + Frontmatter::list(value).join(u", "_s) + u']'});
        } else {
            fields.append({QLatin1String(key), isFolder ? folderText(value) : value});
        }
    }
    return fields;
}

bool EngineOptions::hasAny(const Arguments& arguments) {
    return std::ranges::any_of(engineNewOptions,
                               [&](const OptionInfo& option) { return arguments.has(option.name); });
}

Result<QString> argumentText(const QString& argument) {
    if (argument != u"-") {
        return argument;
    }
    const auto bytes = isatty(STDIN_FILENO) != 0 ? std::nullopt : readStandardInput(mostBytes);
    if (!bytes) {
        return fail(u"\"-\" reads standard input; give it something to read, as in `… < FILE`."_s);
    }
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder(*bytes);
    if (decoder.hasError() || bytes->contains('\0') || bytes->size() > mostBytes ||
        text.trimmed().isEmpty()) {
        return fail(u"Standard input holds no text, or more than a megabyte of it."_s);
    }
    return text.trimmed();
}

}  // namespace lumbro::cli
