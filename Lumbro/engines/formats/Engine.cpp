#include "engines/formats/Engine.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "engines/formats/Frontmatter.h"

#include <QDir>
#include <QFileInfo>

#include <array>
#include <cmath>
#include <utility>

namespace lumbro {

namespace {

constexpr std::array scopeWords{"meeting", "library", "person", "company", "selection"};

using Fields = Frontmatter::Parsed;

bool isTrue(const Fields& fields, const QString& key) {
    return fields.value(key).value_or(QString()).toLower() == u"true";
}

QString text(const Fields& fields, const QString& key, const QString& fallback = {}) {
    const QString value = fields.value(key).value_or(QString());
    return value.isEmpty() ? fallback : value;
}

qint64 integer(const Fields& fields, const QString& key, qint64 fallback) {
    bool ok = false;
    const qint64 value = fields.value(key).value_or(QString()).toLongLong(&ok, 10);
    return ok ? value : fallback;
}

std::optional<double> seconds(const Fields& fields, const QString& key) {
    bool ok = false;
    const double value = fields.value(key).value_or(QString()).toDouble(&ok);
    return ok && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

QStringList lowerList(const Fields& fields, const QString& key) {
    QStringList items = Frontmatter::list(fields.value(key));
    for (QString& item : items) {
        item = item.toLower();
    }
    return items;
}

std::optional<QString> folderUrl(const std::optional<QString>& value) {
    QString path = trimmedBlanks(value.value_or(QString())).toString();
    if (path == u"~" || path.startsWith(u"~/")) {
        path = QDir::homePath() + path.sliced(1);
    }
    return path.startsWith(u'/') ? std::optional(QDir::cleanPath(path)) : std::nullopt;
}

void readBehaviour(Engine& engine, const Fields& fields) {
    engine.watch = folderUrl(fields.value(u"watch"_s));
    engine.workdir = folderUrl(fields.value(u"workdir"_s));
    engine.hidden = engine.watch.has_value() || isTrue(fields, u"hidden"_s);
    engine.scope = engineScope(text(fields, u"scope"_s).toLower())
                       .value_or(engine.hidden ? EngineScope::library : EngineScope::meeting);
    engine.result = EngineResult::parsing(fields.value(u"result"_s));
    engine.suggest = fields.fields.contains(u"suggest"_s) ? lowerList(fields, u"suggest"_s)
                     : engine.hidden                      ? QStringList()
                                                          : defaultPlaces(engine.scope);
    engine.automatic = isTrue(fields, u"auto"_s);
    engine.inputs = lowerList(fields, u"inputs"_s);
    engine.usesVoice = engine.inputs.contains(u"voice");
    engine.tools = Frontmatter::list(fields.value(u"tools"_s));
    engine.timeout = seconds(fields, u"timeout"_s);
}

}  // namespace

QString rawValue(EngineScope scope) {
    return QString::fromLatin1(scopeWords.at(static_cast<size_t>(scope)));
}

std::optional<EngineScope> engineScope(const QString& rawValue) {
    for (size_t i = 0; i < scopeWords.size(); ++i) {
        if (rawValue == QLatin1String(scopeWords.at(i))) {
            return static_cast<EngineScope>(i);
        }
    }
    return std::nullopt;
}

QStringList defaultPlaces(EngineScope scope) {
    switch (scope) {
        case EngineScope::meeting:
            return {u"notes"_s, u"ask"_s};
        case EngineScope::library:
            return {u"home"_s, u"ask"_s};
        case EngineScope::person:
            return {u"person"_s};
        case EngineScope::company:
            return {u"company"_s};
        case EngineScope::selection:
            break;
    }
    return {};
}

std::expected<Engine, Engine::LoadError> Engine::parse(const QString& text, const QString& url) {
    const Fields fields = Frontmatter::parse(text);
    if (!fields.found) {
        return std::unexpected(LoadError{u"missing the --- frontmatter block at the top"_s});
    }
    Engine engine;
    engine.name = lumbro::text(fields, u"name"_s);
    if (engine.name.isEmpty()) {
        return std::unexpected(LoadError{u"frontmatter needs a `name:`"_s});
    }
    engine.prompt = fields.body.trimmed();
    if (engine.prompt.isEmpty()) {
        return std::unexpected(LoadError{u"the prompt below the frontmatter is empty"_s});
    }
    engine.url = url;
    engine.id = QFileInfo(url).completeBaseName();
    engine.icon = lumbro::text(fields, u"icon"_s, u"wand.and.stars"_s);
    engine.description = lumbro::text(fields, u"description"_s);
    engine.model = lumbro::text(fields, u"model"_s, u"sonnet"_s);
    engine.order = integer(fields, u"order"_s, engine.order);
    engine.version = integer(fields, u"version"_s, engine.version);
    engine.shortcut = trimmedOf(lumbro::text(fields, u"shortcut"_s), u"/ ").toString();
    if (engine.shortcut.isEmpty()) {
        engine.shortcut = engine.id;
    }
    readBehaviour(engine, fields);
    return engine;
}

QString Engine::resultLabel() const {
    if (automatic && scope == EngineScope::meeting) {
        return u"After every meeting"_s;
    }
    if (watch) {
        return u"When a file arrives"_s;
    }
    if (hidden) {
        if (id == u"prep") {
            return u"Before meetings"_s;
        }
        return id == u"ideas" ? u"Every evening"_s : u"On its own"_s;
    }
    switch (result.kind) {
        case EngineResult::Kind::chat:
            return u"Answers in chat"_s;
        case EngineResult::Kind::handoff:
            return u"Saves a hand-off"_s;
        case EngineResult::Kind::action:
            break;
    }
    return u"Prepares "_s + EngineResult::appName(result.app);
}

bool Engine::matches(const QString& query) const {
    const QString wanted = trimmedOf(query, u"/ ").toString().toLower();
    return name.toLower().contains(wanted) || shortcut.toLower().contains(wanted) ||
           id.toLower().contains(wanted);
}

}  // namespace lumbro
