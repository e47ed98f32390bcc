#include "cli/services/ConnectorCommands.h"

#include "LumbroCore/NextSignal.h"
#include "actions/Connectors.h"
#include "actions/formats/ConnectorList.h"
#include "cli/RunText.h"
#include "cli/services/FinishSteps.h"

namespace lumbro::cli {

namespace {

QString idsOf(const QList<Connector>& connectors) {
    QStringList ids;
    for (const Connector& connector : connectors) {
        ids << u'"' + connector.id + u'"';
    }
    return ids.join(u" and "_s);
}

}  // namespace

Task<Result<>> checkConnectors(Services* services, Output* output) {
    Connectors& connectors = services->connectors();
    FinishSteps steps(*output, services->clock());
    if (output->showsProgress()) {
        steps.begin(u"Asking Claude Code for its connectors…"_s);
    }
    connectors.refresh();
    while (connectors.checking()) {
        co_await nextSignal(&connectors, &Connectors::checkingChanged);
    }
    steps.end();
    if (const auto failure = connectors.failure()) {
        const bool isMissing = failure->kind == FailureKind::notInstalled;
        co_return isMissing ? fail(FailureKind::notInstalled,
                                   u"Apps are reached through Claude Code, which isn't installed; `lumbro "
                                   "doctor` says what to do."_s)
                            : std::unexpected(*failure);
    }
    co_return Result<>();
}

Result<Connector> findConnector(const QList<Connector>& all, const QString& word) {
    const QString lower = word.trimmed().toLower();
    const auto isExact = [&](const Connector& each) { return each.id.toLower() == lower; };
    const auto isApp = [&](const Connector& each) { return each.isUsable() && each.app.toLower() == lower; };
    const auto isPiece = [&](const Connector& each) {
        return each.isUsable() && !lower.isEmpty() && each.id.toLower().contains(lower);
    };
    const auto isFailed = [&](const Connector& each) {
        return !each.isUsable() && (each.app.toLower() == lower || each.id.toLower() == lower);
    };
    if (const auto failed = chosen(all, isFailed); !failed.isEmpty() && chosen(all, isApp).isEmpty()) {
        return fail(
            u"Claude Code can't reach %1 now; `claude mcp list` says more."_s.arg(failed.first().app));
    }
    for (const auto& found : {chosen(all, isExact), chosen(all, isApp), chosen(all, isPiece)}) {
        if (found.size() > 1) {
            return fail(u"%1 connectors are meant by \"%2\"; give one of the ids %3."_s.arg(
                QString::number(found.size()), word, idsOf(found)));
        }
        if (found.size() == 1) {
            return found.first();
        }
    }
    return fail(
        FailureKind::notFound,
        u"Your Claude Code is connected to no \"%1\"; `lumbro connectors` lists the apps."_s.arg(word));
}

Task<int> connectors(CommandContext context) {
    Output& output = context.output;
    Services services;
    if (const auto checked = co_await checkConnectors(&services, &output); !checked) {
        co_return output.fail(checked.error());
    }
    const QList<Connector>& all = services.connectors().all();
    if (context.arguments.wantsJson()) {
        QJsonArray array;
        for (const Connector& connector : all) {
            array += connectorJson(connector);
        }
        output.printJson(array);
    } else if (all.isEmpty()) {
        output.say(u"Your Claude Code is connected to no app yet. Check Claude: Settings → Connectors."_s);
    } else {
        output.print(connectorTable(output, all));
    }
    co_return 0;
}

}  // namespace lumbro::cli
