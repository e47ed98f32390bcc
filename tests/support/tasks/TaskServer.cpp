// A task list as a server of the Model Context Protocol on standard input and output: an app to send work to.
// Several may serve one list at once.
//
//   TASK_LIST       the list's file, a JSON array of {"id", "title", "note"}
//   TASK_LIST_MODE  "forgets": says that a task was added, and adds none

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Clock.h"
#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/LockedUpdate.h"
#include "mcp/LineChannel.h"
#include "mcp/McpServer.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonObject>

#include <unistd.h>

using namespace lumbro;

namespace {

QString listPath() {
    return qEnvironmentVariable("TASK_LIST");
}

QJsonArray readTasks() {
    return json::array(readFile(listPath()).value_or(QByteArray()));
}

QJsonObject linked(QJsonObject task) {
    task.insert(u"url"_s, u"https://tasks.test/"_s + QString::number(task.value(u"id"_s).toInt()));
    return task;
}

McpToolResult resultOf(const QJsonArray& tasks) {
    QJsonArray all;
    for (const QJsonValue task : tasks) {
        all << linked(task.toObject());
    }
    return {.text = QString::fromUtf8(json::encodeCompact(all)), .structured = {{u"tasks"_s, all}}};
}

/// Changes the list; gives what the change made of it.
Result<> changeTasks(const std::function<void(QJsonArray&)>& change) {
    const FolderLock lock(QFileInfo(listPath()).path());
    const auto changed = updateFile(listPath(), [&](const std::optional<QByteArray>& bytes) {
        QJsonArray tasks = json::array(bytes.value_or(QByteArray()));
        change(tasks);
        return std::optional(json::encode(tasks));
    });
    return changed ? Result<>() : std::unexpected(changed.error());
}

Result<McpToolResult> addTask(const QJsonObject& arguments) {
    QJsonObject task = arguments;
    if (qEnvironmentVariable("TASK_LIST_MODE") == u"forgets") {
        task.insert(u"id"_s, 99);
        return resultOf({task});
    }
    const auto changed = changeTasks([&](QJsonArray& tasks) {
        task.insert(u"id"_s, tasks.isEmpty() ? 1 : tasks.last()[u"id"].toInt() + 1);
        tasks << task;
    });
    return changed ? Result<McpToolResult>(resultOf({task})) : std::unexpected(changed.error());
}

Result<McpToolResult> deleteTask(const QJsonObject& arguments) {
    const auto changed = changeTasks([&](QJsonArray& tasks) {
        for (qsizetype i = tasks.size() - 1; i >= 0; --i) {
            if (tasks.at(i)[u"title"] == arguments.value(u"title"_s)) {
                tasks.removeAt(i);
            }
        }
    });
    return changed ? Result<McpToolResult>(resultOf(readTasks())) : std::unexpected(changed.error());
}

QJsonObject schemaOf(const QStringList& texts) {
    QJsonObject properties;
    for (const QString& text : texts) {
        properties.insert(text, QJsonObject{{u"type"_s, u"string"_s}});
    }
    const QJsonArray required = texts.isEmpty() ? QJsonArray() : QJsonArray{texts.first()};
    return {{u"type"_s, u"object"_s}, {u"properties"_s, properties}, {u"required"_s, required}};
}

QList<McpTool> tools() {
    return {
        {u"add_task"_s, u"Add a task"_s, u"Adds a task."_s, schemaOf({u"title"_s, u"note"_s}), addTask},
        {u"list_tasks"_s, u"List the tasks"_s, u"All tasks."_s, schemaOf({}),
         [](const QJsonObject&) { return Result<McpToolResult>(resultOf(readTasks())); }},
        {u"delete_task"_s, u"Delete a task"_s, u"Deletes the tasks of a title."_s, schemaOf({u"title"_s}),
         deleteTask},
    };
}

}  // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    SystemClock clock;
    McpServer server({u"1"_s, {}}, tools());
    LineChannel channel(STDIN_FILENO, STDOUT_FILENO, clock, McpServer::mostBytes,
                        {.answer = [&server](const QByteArray& line) { return server.answer(line); },
                         .answerTooLong = [] { return McpServer::answerTooLong(); }});
    QObject::connect(&channel, &LineChannel::ended,
                     [](bool isWell) { QCoreApplication::exit(isWell ? 0 : 1); });
    return QCoreApplication::exec();
}
