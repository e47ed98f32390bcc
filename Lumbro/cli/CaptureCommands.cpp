#include "cli/CaptureCommands.h"

#include "LumbroCore/AtomicFile.h"
#include "cli/CaptureLookup.h"
#include "cli/CaptureText.h"
#include "cli/Table.h"
#include "library/CaptureRename.h"
#include "library/CaptureScan.h"
#include "library/ContextLibrary.h"
#include "library/EngineCatalogue.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonObject>

#include <algorithm>
#include <limits>

namespace lumbro::cli {

namespace {

int printPart(Output& output, const QString& text, const QString& missing) {
    if (text.trimmed().isEmpty()) {
        return output.fail(missing);
    }
    output.print(text.endsWith(u'\n') ? text : text + u'\n');
    return 0;
}

/// Of a file that is there: nobody shall be told to write it anew.
QString unreadableFile(const CaptureRecord& record, const QString& name) {
    return u"%1/%2 can't be read; it isn't text in UTF-8."_s.arg(record.id(), name);
}

bool isEngine(const QString& id) {
    // Those that come with the application are in the user's folder only once something has opened it.
    const QString builtIns = u":/engines"_s;
    for (const QString& folder : {ContextLibrary::rootFromEnvironment() + u"/engines"_s, builtIns}) {
        EngineCatalogue catalogue(builtIns, folder);
        catalogue.reload(true);
        if (catalogue.engine(id)) {
            return true;
        }
    }
    return false;
}

int showHandoff(Output& output, const CaptureDetails& details, const QString& engine) {
    const CaptureRecord& record = details.summary.record;
    const QString id = record.id();
    const QString file = u"handoffs/"_s + engine + u".md"_s;
    if (!details.handoffs.contains(engine)) {
        if (!engine.contains(u'/') && QFileInfo::exists(record.path(file))) {
            return output.fail(unreadableFile(record, file));
        }
        if (!isEngine(engine)) {
            return output.fail(
                u"There is no engine \"%1\", nor a result of one; `lumbro engines` lists them all."_s.arg(
                    engine));
        }
    }
    QString missing = u"%1 has no result of \"%2\"; `lumbro engine-run %2 %1` makes one."_s.arg(id, engine);
    if (!details.handoffs.isEmpty()) {
        missing += u" It has: %1."_s.arg(QStringList(details.handoffs.keys()).join(u", "_s));
    }
    return printPart(output, Output::cleanLines(details.handoffs.value(engine)), missing);
}

void sayBroken(Output& output, const QStringList& broken) {
    if (broken.isEmpty()) {
        return;
    }
    const QString first = Output::clean(QFileInfo(broken.first()).dir().dirName()) + u"/meta.json"_s;
    output.say(broken.size() == 1 ? u"%1 can't be read; the capture is left out."_s.arg(first)
                                  : u"%1 and %2 can't be read; the captures are left out."_s.arg(
                                        first, counted(broken.size() - 1, u"other"_s, u"others"_s)));
}

bool namesSeveralParts(const Arguments& arguments) {
    return std::ranges::count_if(std::initializer_list<std::string_view>{"transcript", "notes", "handoff"},
                                 [&](std::string_view part) { return arguments.has(part); }) > 1;
}

int showText(Output& output, const Arguments& arguments, const CaptureDetails& details) {
    const QString id = details.summary.record.id();
    if (arguments.has("transcript")) {
        return printPart(output, transcriptText(output, details.paragraphs),
                         u"%1 has no transcript."_s.arg(id));
    }
    if (arguments.has("notes")) {
        const CaptureRecord& record = details.summary.record;
        const QString path = record.path(u"notes.md"_s);
        if (QFileInfo::exists(path) && !readTextFile(path)) {
            return output.fail(unreadableFile(record, u"notes.md"_s));
        }
        return printPart(output, Output::cleanLines(details.notes),
                         u"%1 has no notes of yours; write them into %2/notes.md."_s.arg(
                             id, details.summary.record.folder));
    }
    if (const auto engine = arguments.value("handoff")) {
        return showHandoff(output, details, *engine);
    }
    output.print(captureText(output, details));
    return 0;
}

}  // namespace

Task<int> captures(CommandContext context) {
    Output& output = context.output;
    const QString root = ContextLibrary::rootFromEnvironment();
    if (const auto usable = checkLibrary(root, LibraryUse::read); !usable) {
        co_return output.fail(usable.error());
    }
    const CaptureList list(capturesFolder());
    const qsizetype most = context.arguments.number("limit").value_or(std::numeric_limits<int>::max());
    const qsizetype count = std::min(most, list.size());
    if (context.arguments.wantsJson()) {
        output.printJson(captureListJson(list, count));
    } else if (count > 0) {
        output.print(captureTable(output, list.summaries(count)));
    } else if (list.broken().isEmpty()) {
        output.say(u"No captures yet: `lumbro record` makes one, `lumbro demo` shows how it goes."_s);
    }
    sayBroken(output, list.broken());
    co_return 0;
}

Task<int> show(CommandContext context) {
    if (namesSeveralParts(context.arguments)) {
        context.output.fail(u"--transcript, --notes and --handoff exclude each other; give one of them."_s);
        context.output.say(usageLine(*findCommand({u"show"_s}).command));
        co_return wrongUsage;
    }
    const auto record = findCapture(capturesFolder(), context.arguments.at(0));
    if (!record) {
        co_return context.output.fail(record.error());
    }
    const CaptureDetails details = captureDetails(*record);
    if (details.isTranscriptBroken) {
        const QString sentence =
            u"%1/transcript.json can't be read, so there are no words."_s.arg(record->id());
        if (context.arguments.has("transcript") && !context.arguments.wantsJson()) {
            co_return context.output.fail(sentence);
        }
        context.output.say(Output::clean(sentence));
    }
    if (details.mayLackWords) {
        context.output.say(Output::clean(mayLackWordsText(details)));
    }
    if (context.arguments.wantsJson()) {
        context.output.printJson(captureJson(details));
        co_return 0;
    }
    co_return showText(context.output, context.arguments, details);
}

Task<int> rename(CommandContext context) {
    auto record = findCapture(capturesFolder(), context.arguments.at(0));
    if (!record) {
        co_return context.output.fail(record.error());
    }
    const QString before = record->meta.title;
    const auto renamed = renameCapture(*record, context.arguments.at(1));
    if (!renamed) {
        co_return context.output.fail(renamed.error());
    }
    if (context.arguments.wantsJson()) {
        context.output.printJson(captureJson(summarizeCapture(*renamed)));
    } else {
        context.output.printLine(u"%1: \"%2\" is now \"%3\"."_s.arg(renamed->id(), Output::clean(before),
                                                                    Output::clean(renamed->meta.title)));
    }
    co_return 0;
}

Task<int> deleteCapture(CommandContext context) {
    const auto record = findCapture(capturesFolder(), context.arguments.at(0));
    if (!record) {
        co_return context.output.fail(record.error());
    }
    SystemClock clock;
    ContextLibrary library(ContextLibrary::rootFromEnvironment(), clock);
    if (const auto deleted = library.deleteCapture(*record); !deleted) {
        co_return context.output.fail(deleted.error());
    }
    if (context.arguments.wantsJson()) {
        context.output.printJson(QJsonObject{{u"deleted"_s, record->id()}});
    } else {
        context.output.printLine(
            u"%1 (\"%2\") is in the Trash."_s.arg(record->id(), Output::clean(record->meta.title)));
    }
    co_return 0;
}

}  // namespace lumbro::cli
