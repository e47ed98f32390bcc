// Stands in for Claude Code where it acts in an app: it really starts the servers, offers their tools in the
// `init` event, makes a task of every line "- [ ] …" of the content, reads the list back and reports.
//
//   ACTING_ACCOUNT  the account's connectors: a JSON object of names such as "claude.ai Todoist" to
//                   {"command", "args", "env"}; servers of the user's own stand in ~/.claude.json
//   ACTING_HIDES    set: tells no tools to who only asks for them
//   ACTING_LITERAL  set: takes no name with "*" in it for a pattern
//   ACTING_LOG      a file: a JSON line with "argv" and "pid" is added to it by each run that acts
//   ACTING_GATE     a file: a run waits for it, at the moment that ACTING_WAITS names: "before" it acts
//                   (the default), or "after" its result
//   ACTING_SAYS     its last words, in place of an honest report
//   ACTING_MODE     "deletes": deletes the tasks, whatever the instruction says

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"
#include "tests/support/tasks/McpClient.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QRegularExpression>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <memory>
#include <vector>

#include <unistd.h>

using namespace lumbro;
using test::McpClient;

namespace {

void print(const QJsonObject& event) {
    const QByteArray line = json::encodeCompact(event) + '\n';
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stdout);
    std::fflush(stdout);
}

QString after(const QString& option) {
    const QStringList words = QCoreApplication::arguments();
    const auto at = words.indexOf(option);
    return at < 0 ? QString() : words.value(at + 1);
}

bool hasOption(const QString& option) {
    return QCoreApplication::arguments().contains(option);
}

QJsonObject servers() {
    const QString own = u"mcpServers"_s;
    if (hasOption(u"--mcp-config"_s)) {
        return json::object(after(u"--mcp-config"_s).toUtf8()).value(own).toObject();
    }
    QJsonObject all = json::object(qgetenv("ACTING_ACCOUNT"));
    const QJsonObject local =
        json::object(readFile(QDir::homePath() + u"/.claude.json"_s).value_or(QByteArray()))
            .value(own)
            .toObject();
    for (auto server = local.begin(); server != local.end(); ++server) {
        all.insert(server.key(), server.value());
    }
    return all;
}

bool matches(const QString& tool, const QString& pattern) {
    if (qEnvironmentVariableIsSet("ACTING_LITERAL")) {
        return tool == pattern;
    }
    const QString whole =
        QRegularExpression::anchoredPattern(QRegularExpression::escape(pattern).replace(u"\\*"_s, u".*"_s));
    return QRegularExpression(whole).match(tool).hasMatch();
}

bool isDenied(const QString& tool) {
    return std::ranges::any_of(after(u"--disallowedTools"_s).split(u',', Qt::SkipEmptyParts),
                               [&](const QString& each) { return matches(tool, each); });
}

bool isAllowed(const QString& tool) {
    return tool.startsWith(after(u"--allowedTools"_s) + u"__"_s) && !isDenied(tool);
}

void waitForGate(const QString& moment) {
    const QString gate = qEnvironmentVariable("ACTING_GATE");
    if (qEnvironmentVariable("ACTING_WAITS", u"before"_s) == moment) {
        while (!gate.isEmpty() && !QFile::exists(gate)) {
            usleep(5000);
        }
    }
}

void record() {
    QFile log(qEnvironmentVariable("ACTING_LOG"));
    if (!log.fileName().isEmpty() && log.open(QIODevice::Append | QIODevice::Unbuffered)) {
        log.write(json::encodeCompact(
                      QJsonObject{{u"argv"_s, QJsonArray::fromStringList(QCoreApplication::arguments())},
                                  {u"pid"_s, qint64(getpid())}}) +
                  '\n');
    }
}

/// What the list holds under this title.
QJsonObject find(McpClient& app, const QString& title) {
    const QJsonArray tasks = app.call(app.prefix() + u"list_tasks"_s, {}).value(u"tasks"_s).toArray();
    const auto found =
        std::ranges::find_if(tasks, [&](const QJsonValue& task) { return task[u"title"] == title; });
    return found == tasks.end() ? QJsonObject() : (*found).toObject();
}

/// Does one line of the content and reads it back.
QJsonObject act(McpClient& app, const QString& title, bool deletes) {
    const QString tool = app.prefix() + (deletes ? u"delete_task"_s : u"add_task"_s);
    if (isAllowed(tool) && (deletes || find(app, title).isEmpty())) {
        app.call(tool, {{u"title"_s, title}});
    }
    const QJsonObject task = find(app, title);
    return {{u"title"_s, title}, {u"url"_s, task[u"url"]}, {u"verified"_s, task.isEmpty() == deletes}};
}

QString report(McpClient& app, const QString& input) {
    const bool deletes = qEnvironmentVariable("ACTING_MODE") == u"deletes" ||
                         input.section(u"# FROM"_s, 0, 0).contains(u"delete", Qt::CaseInsensitive);
    QJsonArray items;
    for (const QString& line : input.section(u"# CONTENT"_s, 1).split(u'\n')) {
        if (line.startsWith(u"- [ ] ")) {
            items << act(app, line.sliced(6).trimmed(), deletes);
        }
    }
    const QJsonObject result{
        {u"status"_s, u"done"_s},
        {u"summary"_s, (deletes ? u"Deleted %1 tasks"_s : u"Added %1 tasks"_s).arg(items.size())},
        {u"items"_s, items}};
    return u"All is there.\n\n**RESULT: %1**"_s.arg(QString::fromUtf8(json::encodeCompact(result)));
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGTERM, [](int) { _exit(143); });
    const QCoreApplication application(argc, argv);
    std::vector<std::unique_ptr<McpClient>> apps;
    QStringList tools;
    QJsonArray told;
    const QJsonObject all = servers();
    for (auto server = all.begin(); server != all.end(); ++server) {
        apps.push_back(std::make_unique<McpClient>(server.key(), server.value().toObject()));
        const QStringList offered = apps.back()->tools();
        tools += offered;
        told << QJsonObject{{u"name"_s, server.key()},
                            {u"status"_s, offered.isEmpty() ? u"failed"_s : u"connected"_s}};
    }
    // Claude Code doesn't tell of tools that it was denied either.
    tools.removeIf(isDenied);
    const bool acts = hasOption(u"--allowedTools"_s);
    if (!acts && qEnvironmentVariableIsSet("ACTING_HIDES")) {
        tools.clear();
    }
    print({{u"type"_s, u"system"_s},
           {u"subtype"_s, u"init"_s},
           {u"tools"_s, QJsonArray::fromStringList(tools)},
           {u"mcp_servers"_s, told}});
    if (!acts) {
        pause();
    }
    QFile input;
    const bool isOpen = input.open(stdin, QIODevice::ReadOnly);
    const QString text = isOpen ? QString::fromUtf8(input.readAll()) : QString();
    record();
    waitForGate(u"before"_s);
    const auto app = std::ranges::find_if(
        apps, [](const auto& each) { return after(u"--allowedTools"_s) + u"__"_s == each->prefix(); });
    const QString words = qEnvironmentVariable("ACTING_SAYS");
    const QString honest = app == apps.end() ? QString() : report(**app, text);
    print({{u"type"_s, u"result"_s},
           {u"subtype"_s, u"success"_s},
           {u"is_error"_s, false},
           {u"num_turns"_s, 3},
           {u"result"_s, words.isEmpty() ? honest : words}});
    waitForGate(u"after"_s);
    return 0;
}
