#include "cli/RunText.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "cli/Table.h"

namespace lumbro::cli {

namespace {

Look lookOf(ActionRun::Status status) {
    using Status = ActionRun::Status;
    switch (status) {
        case Status::done:
            return Look::good;
        case Status::queued:
        case Status::running:
            return Look::accent;
        default:
            return Look::bad;
    }
}

QString indented(const QString& text) {
    QString lines = Output::cleanLines(text).trimmed();
    return u"  "_s + lines.replace(u'\n', u"\n  "_s) + u'\n';
}

QString section(const Output& output, const QString& title, const QString& text) {
    return text.trimmed().isEmpty() ? QString()
                                    : u'\n' + output.styled(title, Look::bold) + u'\n' + indented(text);
}

QString itemLine(const Output& output, const ActionRun::Item& item) {
    const QString title = item.title.isEmpty() ? u"(without a title)"_s : Output::clean(item.title);
    const QString mark = item.verified ? output.styled(u"✓"_s, Look::good) : output.styled(u"?"_s, Look::bad);
    const QString link =
        item.url ? u"  "_s + output.styled(Output::clean(*item.url), Look::accent) : QString();
    return u"  "_s + mark + u' ' + title + (item.verified ? QString() : u" (not seen there)"_s) + link +
           u'\n';
}

QString itemLines(const Output& output, const ActionRun& run) {
    QString text;
    for (const auto& item : run.items) {
        text += itemLine(output, item);
    }
    return text;
}

}  // namespace

QJsonObject runJson(const ActionRun& run) {
    QJsonObject json = run.toJson();
    json.insert(u"title"_s, run.title());
    if (const auto check = run.checkFirst()) {
        json.insert(u"checkFirst"_s, *check);
    }
    return json;
}

QJsonObject connectorJson(const Connector& connector) {
    return {{u"id"_s, connector.id},
            {u"app"_s, connector.app},
            {u"icon"_s, connector.icon},
            {u"status"_s, Connector::rawValue(connector.status)},
            {u"featured"_s, connector.featured},
            {u"tools"_s, QJsonArray::fromStringList(connector.tools)},
            {u"allow"_s, connector.allow()},
            {u"destructiveTools"_s, QJsonArray::fromStringList(connector.destructiveTools())}};
}

QString runTable(const Output& output, const QList<ActionRun>& runs) {
    QList<QStringList> rows;
    rows.reserve(runs.size());
    for (const ActionRun& run : runs) {
        rows += {Output::clean(run.id), output.styled(ActionRun::rawValue(run.status), lookOf(run.status)),
                 dates::readable(run.started), Output::clean(run.app), Output::clean(run.title())};
    }
    return table(output,
                 {{u"ID"_s, false, false, Look::accent},
                  {u"STATUS"_s},
                  {u"SENT"_s},
                  {u"APP"_s},
                  {u"RESULT"_s, false, true, Look::bold}},
                 rows);
}

QString connectorName(const Connector& connector) {
    const bool needsLogin = connector.status == Connector::Status::needsLogin;
    return Output::clean(connector.app) + (needsLogin ? u" (log in first)"_s : QString());
}

QString connectorTable(const Output& output, const QList<Connector>& connectors) {
    QList<QStringList> rows;
    rows.reserve(connectors.size());
    for (const Connector& connector : connectors) {
        const bool needsLogin = connector.status == Connector::Status::needsLogin;
        const QString tools =
            connector.tools.isEmpty() ? u"not known"_s : QString::number(connector.tools.size());
        rows += {Output::clean(connector.app),
                 needsLogin ? u"log in first"_s : Connector::rawValue(connector.status), tools,
                 connector.config ? u"your own server"_s : u"your account"_s, Output::clean(connector.id)};
    }
    return table(output,
                 {{u"APP"_s, false, false, Look::bold},
                  {u"STATUS"_s},
                  {u"TOOLS"_s, true},
                  {u"FROM"_s},
                  {u"ID"_s, false, true, Look::accent}},
                 rows);
}

QString runResult(const Output& output, const ActionRun& run) {
    return output.styled(Output::clean(run.title()), Look::bold) + u'\n' + itemLines(output, run);
}

QString runText(const Output& output, const ActionRun& run) {
    QString text = output.styled(u"# "_s + Output::clean(run.title()), Look::bold) + u'\n';
    text += output.styled(ActionRun::rawValue(run.status), lookOf(run.status)) + u" · "_s +
            Output::clean(run.app) + u" · "_s + dates::readable(run.started);
    if (run.finished) {
        text += u" – "_s + dates::shortTime(*run.finished);
    }
    text += u'\n';
    const QString problem = runProblem(run);
    text += problem.isEmpty() ? QString() : Output::clean(problem) + u'\n';
    if (!run.items.isEmpty()) {
        text += u'\n' + output.styled(u"What was made"_s, Look::bold) + u'\n' + itemLines(output, run);
    }
    return text + section(output, u"Instruction"_s, run.instruction) + section(output, u"From"_s, run.about) +
           section(output, u"Content"_s, run.content);
}

QString runProblem(const ActionRun& run) {
    QStringList sentences;
    if (run.error && !run.error->trimmed().isEmpty()) {
        sentences << run.error->trimmed();
    }
    if (const auto about = run.aboutEnd()) {
        sentences << *about;
    }
    if (!sentences.isEmpty() && !QStringView(u".!?…").contains(sentences.first().back())) {
        sentences.first() += u'.';
    }
    return sentences.join(u' ');
}

}  // namespace lumbro::cli
