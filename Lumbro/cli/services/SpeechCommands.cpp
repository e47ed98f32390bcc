#include "cli/services/SpeechCommands.h"

#include "LumbroSpeech/SpeechModels.h"
#include "app/QuitSignals.h"
#include "app/Services.h"
#include "cli/Table.h"
#include "recording/transcription/SpeechAssets.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

namespace lumbro::cli {

namespace {

using speech::SpeechModels;
using speech::SpeechModelStatus;

/// A failure that names a model, with where the models are listed.
Failure withList(Failure failure) {
    if (failure.kind == FailureKind::notFound && failure.message.endsWith(u'.')) {
        failure.message.chop(1);
        failure.message += u"; `lumbro speech list` names them all."_s;
    }
    return failure;
}

QJsonArray listJson(SpeechAssets& assets) {
    QJsonArray array;
    for (const SpeechModelStatus& status : assets.models().list(assets.usedLocale())) {
        array += QJsonObject{{u"id"_s, status.model.id},
                             {u"name"_s, status.model.name},
                             {u"languages"_s, QJsonArray::fromStringList(status.model.languages)},
                             {u"bytes"_s, status.model.bytes},
                             {u"installed"_s, status.isInstalled},
                             {u"inUse"_s, status.isInUse}};
    }
    return array;
}

QString languagesText(const QStringList& languages) {
    constexpr qsizetype shown = 3;
    if (languages.size() <= shown) {
        return languages.join(u", "_s);
    }
    return counted(languages.size(), u"language"_s, u"languages"_s);
}

QString stateText(const SpeechModelStatus& status) {
    if (status.isBroken) {
        return u"can't be read"_s;
    }
    return status.isInUse ? u"in use"_s : status.isInstalled ? u"installed"_s : QString();
}

QString listText(const Output& output, SpeechAssets& assets) {
    QList<QStringList> rows;
    for (const SpeechModelStatus& status : assets.models().list(assets.usedLocale())) {
        rows += {status.model.id, Output::clean(status.model.name), languagesText(status.model.languages),
                 status.model.bytes > 0 ? bytesText(status.model.bytes) : QString(), stateText(status)};
    }
    return table(output,
                 {{u"MODEL"_s, false, false, Look::accent},
                  {u"NAME"_s, false, true},
                  {u"LANGUAGES"_s},
                  {u"SIZE"_s, true},
                  {u"STATE"_s, false, false, Look::good}},
                 rows);
}

// The result of every command that changes a model: the list for programs, a sentence for people.
int done(const CommandContext& context, SpeechAssets& assets, const QString& sentence) {
    if (context.arguments.wantsJson()) {
        context.output.printJson(listJson(assets));
    } else {
        context.output.printLine(sentence);
    }
    return 0;
}

QString progressText(const QString& id, double fraction) {
    constexpr int width = 30;
    const int filled = std::clamp(int(fraction * width), 0, width);
    return u"%1  [%2%3] %4%"_s.arg(id, QString(filled, u'#'), QString(width - filled, u' '))
        .arg(int(fraction * 100), 3);
}

}  // namespace

Task<int> speechList(CommandContext context) {
    Services services;
    SpeechAssets& assets = services.speechAssets();
    if (context.arguments.wantsJson()) {
        context.output.printJson(listJson(assets));
    } else {
        context.output.print(listText(context.output, assets));
    }
    co_return 0;
}

Task<int> speechInstall(CommandContext context) {
    Services services;
    Output& output = context.output;
    SpeechModels& models = services.speechAssets().models();
    const QString id = context.arguments.at(0);
    const QuitSignals interrupts;
    QObject::connect(&interrupts, &QuitSignals::quitRequested, &models, [&models, id] { models.cancel(id); });
    output.show(progressText(id, 0));
    const auto installed =
        co_await models.install(id, [&output, id](double done) { output.show(progressText(id, done)); });
    if (!installed) {
        co_return output.fail(SpeechModels::find(id) == nullptr ? withList(installed.error())
                                                                : installed.error());
    }
    co_return done(context, services.speechAssets(), u"%1 is installed."_s.arg(id));
}

Task<int> speechImport(CommandContext context) {
    Services services;
    SpeechModels& models = services.speechAssets().models();
    const QString file = QFileInfo(context.arguments.at(0)).absoluteFilePath();
    context.output.show(u"Copying %1…"_s.arg(file));
    const auto id = co_await models.importFile(file);
    if (!id) {
        Failure failure = id.error();
        if (failure.kind == FailureKind::speech && failure.message.endsWith(u'.')) {
            failure.message.chop(1);
            failure.message += u"; give a model file of whisper.cpp, such as ggml-base.en.bin."_s;
        }
        co_return context.output.fail(failure);
    }
    co_return done(context, services.speechAssets(), u"%1 is installed."_s.arg(*id));
}

Task<int> speechRemove(CommandContext context) {
    Services services;
    SpeechModels& models = services.speechAssets().models();
    const QString id = context.arguments.at(0);
    if (const auto removed = models.remove(id); !removed) {
        co_return context.output.fail(withList(removed.error()));
    }
    co_return done(context, services.speechAssets(), u"%1 is in the Trash."_s.arg(id));
}

Task<int> speechUse(CommandContext context) {
    Services services;
    SpeechModels& models = services.speechAssets().models();
    const QString id = context.arguments.at(0);
    const bool best = id == u"best";
    if (const auto used = models.use(best ? QString() : id); !used) {
        const bool canInstall =
            SpeechModels::find(id) != nullptr && used.error().kind == FailureKind::notFound;
        co_return canInstall
            ? context.output.fail(
                  u"The speech model \"%1\" is not installed; `lumbro speech install %1` fetches it."_s.arg(
                      id))
            : context.output.fail(withList(used.error()));
    }
    co_return done(
        context, services.speechAssets(),
        best ? u"The best installed model is used from now on."_s : u"%1 is used from now on."_s.arg(id));
}

}  // namespace lumbro::cli
