#include "cli/ChatCommands.h"

#include "chats/ClaudeChatReader.h"
#include "chats/formats/SessionLog.h"

#include <QFileInfo>
#include <QJsonArray>

namespace lumbro::cli {

Task<int> chatsRead(CommandContext context) {
    Output& output = context.output;
    const QString path = context.arguments.at(0);
    const QFileInfo file(path);
    if (!file.isFile() || !file.isReadable()) {
        co_return output.fail(file.exists() ? u"%1 can't be read as a file."_s.arg(path)
                                            : u"There is no file %1."_s.arg(path));
    }
    SessionEntries entries = ClaudeChatReader::parse(file.absoluteFilePath());
    QJsonArray array;
    for (SessionEntry& entry : entries) {
        entry.project = ClaudeChatReader::projectName(entry.folder);
        array.append(entry.toJson());
    }
    if (context.arguments.wantsJson()) {
        output.printJson(array);
    } else if (entries.isEmpty()) {
        output.say(u"Nobody asks anything in %1."_s.arg(path));
    } else {
        const QString title = u"Claude Code · "_s + entries.first().project;
        output.print(Output::cleanLines(SessionLog::markdown(entries, title)));
    }
    co_return 0;
}

}  // namespace lumbro::cli
