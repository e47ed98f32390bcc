#include "cli/EngineCommands.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Settings.h"
#include "cli/OpenEngines.h"
#include "cli/Table.h"

#include <QFileInfo>
#include <QJsonArray>

namespace lumbro::cli {

namespace {

void sayWarnings(Output& output, const QStringList& warnings) {
    for (const QString& warning : warnings) {
        output.say(output.styledError(u"left out: "_s, Look::bad) + Output::clean(warning));
    }
}

}  // namespace

QString engineSheet(const Output& output, const Engine& engine) {
    QList<QStringList> rows{{u"id"_s, engine.id},
                            {u"description"_s, engine.description},
                            {u"result"_s, engine.resultLabel()},
                            {u"works on"_s, rawValue(engine.scope)},
                            {u"model"_s, engine.model},
                            {u"offered at"_s, engine.suggest.join(u", "_s)},
                            {u"voice"_s, engine.usesVoice ? u"used"_s : QString()},
                            {u"watches"_s, engine.watch.value_or(QString())},
                            {u"tools"_s, engine.tools.join(u", "_s)},
                            {u"works in"_s, engine.workdir.value_or(QString())},
                            {u"time-out"_s, engine.timeout ? u"%1 s"_s.arg(*engine.timeout) : QString()},
                            {u"version"_s, QString::number(engine.version)},
                            {u"file"_s, engine.url}};
    QString text = output.styled(Output::clean(engine.name), Look::bold) + u'\n';
    for (const QStringList& row : rows) {
        if (!row.at(1).isEmpty()) {
            text += output.styled(padded(row.at(0), 13), Look::dim) + Output::clean(row.at(1)) + u'\n';
        }
    }
    return text + u'\n' + Output::cleanLines(engine.prompt) + u'\n';
}

QJsonObject engineJson(const Engine& engine) {
    QJsonObject json{{u"id"_s, engine.id},
                     {u"name"_s, engine.name},
                     {u"icon"_s, engine.icon},
                     {u"description"_s, engine.description},
                     {u"model"_s, engine.model},
                     {u"usesVoice"_s, engine.usesVoice},
                     {u"order"_s, engine.order},
                     {u"hidden"_s, engine.hidden},
                     {u"prompt"_s, engine.prompt},
                     {u"shortcut"_s, engine.shortcut},
                     {u"scope"_s, rawValue(engine.scope)},
                     {u"result"_s, engine.result.text()},
                     {u"suggest"_s, QJsonArray::fromStringList(engine.suggest)},
                     {u"auto"_s, engine.automatic},
                     {u"inputs"_s, QJsonArray::fromStringList(engine.inputs)},
                     {u"version"_s, engine.version},
                     {u"tools"_s, QJsonArray::fromStringList(engine.tools)},
                     {u"resultLabel"_s, engine.resultLabel()},
                     {u"path"_s, engine.url}};
    if (engine.watch) {
        json.insert(u"watch"_s, *engine.watch);
    }
    if (engine.workdir) {
        json.insert(u"workdir"_s, *engine.workdir);
    }
    if (engine.timeout) {
        json.insert(u"timeout"_s, *engine.timeout);
    }
    return json;
}

QJsonObject voiceJson(const Voice& voice) {
    return {{u"id"_s, voice.id}, {u"name"_s, voice.name}, {u"body"_s, voice.body}};
}

Task<int> engines(CommandContext context) {
    Output& output = context.output;
    OpenEngines library;
    if (!library.usable()) {
        co_return context.output.fail(library.usable().error());
    }
    const QList<Engine> all = library->engines() + library->systemEngines();
    if (context.arguments.wantsJson()) {
        QJsonArray array;
        for (const Engine& engine : all) {
            array += engineJson(engine);
        }
        const QJsonArray warnings = QJsonArray::fromStringList(library->engineWarnings());
        output.printJson(QJsonObject{{u"engines"_s, array}, {u"warnings"_s, warnings}});
        co_return 0;
    }
    QList<QStringList> rows;
    for (const Engine& engine : all) {
        rows +=
            {engine.id, Output::clean(engine.name), engine.resultLabel(), Output::clean(engine.description)};
    }
    if (rows.isEmpty()) {
        output.say(u"There are no engines in %1."_s.arg(library->enginesFolder()));
    } else {
        output.print(table(output,
                           {{u"ENGINE"_s, false, false, Look::accent},
                            {u"NAME"_s, false, false, Look::bold},
                            {u"RESULT"_s},
                            {u"WHAT IT MAKES"_s, false, true}},
                           rows));
    }
    sayWarnings(output, library->engineWarnings());
    co_return 0;
}

Task<int> enginesShow(CommandContext context) {
    OpenEngines library;
    if (!library.usable()) {
        co_return context.output.fail(library.usable().error());
    }
    const auto engine = library->engine(context.arguments.at(0));
    if (!engine) {
        co_return context.output.fail(
            u"There is no engine \"%1\"; `lumbro engines` lists them all."_s.arg(context.arguments.at(0)));
    }
    if (context.arguments.wantsJson()) {
        context.output.printJson(engineJson(*engine));
    } else {
        context.output.print(engineSheet(context.output, *engine));
    }
    co_return 0;
}

Task<int> enginesCheck(CommandContext context) {
    Output& output = context.output;
    const QString file = QFileInfo(context.arguments.at(0)).absoluteFilePath();
    const auto text = readTextFile(file);
    if (!text) {
        const QString sentence =
            u"%1 can't be read as a text file; give the path of an engine file."_s.arg(file);
        if (!context.arguments.wantsJson()) {
            co_return output.fail(sentence);
        }
        output.printJson(QJsonObject{{u"error"_s, sentence}});
        co_return 1;
    }
    const auto engine = Engine::parse(*text, file);
    if (context.arguments.wantsJson()) {
        output.printJson(engine ? engineJson(*engine) : QJsonObject{{u"error"_s, engine.error().message}});
        co_return engine ? 0 : 1;
    }
    if (!engine) {
        co_return output.fail(QFileInfo(file).fileName() + u": "_s + engine.error().message);
    }
    output.printLine(u"%1 is an engine."_s.arg(QFileInfo(file).fileName()));
    output.print(engineSheet(output, *engine));
    co_return 0;
}

Task<int> voices(CommandContext context) {
    Output& output = context.output;
    OpenEngines library;
    if (!library.usable()) {
        co_return context.output.fail(library.usable().error());
    }
    const QString selected = Settings().string(u"selectedVoiceID"_s);
    QJsonArray array;
    QList<QStringList> rows;
    for (const Voice& voice : library->voices()) {
        array += voiceJson(voice);
        rows += {voice.id, Output::clean(voice.name), voice.id == selected ? u"in use"_s : QString()};
    }
    if (context.arguments.wantsJson()) {
        output.printJson(array);
    } else if (rows.isEmpty()) {
        output.say(u"There are no writing voices; put one as a markdown file into %1."_s.arg(
            library->voicesFolder()));
    } else {
        output.print(table(output, {{u"VOICE"_s, false, false, Look::accent}, {u"NAME"_s}, {u""_s}}, rows));
    }
    co_return 0;
}

}  // namespace lumbro::cli
