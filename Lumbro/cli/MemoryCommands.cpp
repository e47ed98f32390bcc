#include "cli/MemoryCommands.h"

#include "cli/MemoryJson.h"
#include "cli/MemoryText.h"
#include "cli/OpenMemory.h"
#include "cli/OpenPage.h"
#include "memory/formats/MemoryText.h"

#include <QFileInfo>

namespace lumbro::cli {

namespace {

using Kind = MemoryEntity::Kind;
using Captures = OpenMemory::Captures;

/// A list for programs or for people; `none` is said when there is nothing to list.
template <typename Item>
int list(CommandContext& context, const MemoryStore& memory, MemoryPart part, const QList<Item>& items,
         QString (*table)(const Output&, const QList<Item>&), const QString& none) {
    Output& output = context.output;
    if (items.isEmpty() && sayFaults(output, memory, part, true) != 0) {
        return 1;
    }
    if (context.arguments.wantsJson()) {
        output.printJson(memoryJson(items));
    } else if (items.isEmpty()) {
        output.say(none);
    } else {
        output.print(table(output, items));
    }
    // Below a long list, where it is seen.
    return items.isEmpty() ? 0 : sayFaults(output, memory, part, false);
}

/// Also when nothing of it can be seen.
bool isEmptyName(const QString& name) {
    return memoryText::oneLine(name).isEmpty();
}

int refuseName(Output& output, const QString& command) {
    output.fail(u"A project needs a name that can be read."_s);
    output.say(usageLine(*findCommand(command.split(u' ')).command));
    return wrongUsage;
}

/// Instead of showing the page.
int open(Output& output, const Arguments& arguments, const MemoryStore& memory, const MemoryEntity& page) {
    const auto opened = openPage(QFileInfo(memory.root()).path(), page.url);
    if (!opened) {
        return output.fail(opened.error());
    }
    if (arguments.wantsJson()) {
        QJsonObject json = memoryJson(page);
        json.insert(u"openedIn"_s, *opened);
        output.printJson(json);
    } else {
        output.say(u"Opened in %1."_s.arg(*opened));
    }
    return 0;
}

int showPage(Output& output, const Arguments& arguments, const MemoryStore& memory, Kind kind, QDate today) {
    const auto page = findPage(memory, kind, arguments.at(0));
    if (!page) {
        return output.fail(page.error());
    }
    if (arguments.has("open")) {
        return open(output, arguments, memory, *page);
    }
    if (arguments.wantsJson()) {
        output.printJson(memoryJson(*page));
        return 0;
    }
    PageContext around;
    if (kind == Kind::person) {
        around.promises = memory.promisesInvolving(page->id);
        around.captures = memory.capturesWith(page->id);
    }
    output.print(pageText(output, *page, around, today));
    return 0;
}

}  // namespace

Task<int> people(CommandContext context) {
    OpenMemory memory(LibraryUse::read, Captures::unread);
    if (!memory.usable()) {
        co_return context.output.fail(memory.usable().error());
    }
    co_return list(context, *memory, MemoryPart::people, memory->people(), &pageTable,
                   u"No people yet: those whom you meet come here; `lumbro memory catch-up` takes in the "
                   "captures that were never read."_s);
}

Task<int> projects(CommandContext context) {
    OpenMemory memory(LibraryUse::read, Captures::unread);
    if (!memory.usable()) {
        co_return context.output.fail(memory.usable().error());
    }
    co_return list(
        context, *memory, MemoryPart::projects, memory->projects(), &pageTable,
        u"No projects yet: those that you talk about come here; `lumbro project new NAME` begins one."_s);
}

Task<int> person(CommandContext context) {
    OpenMemory memory(LibraryUse::read, Captures::read);
    if (!memory.usable()) {
        co_return context.output.fail(memory.usable().error());
    }
    co_return showPage(context.output, context.arguments, *memory, Kind::person, memory.today());
}

Task<int> project(CommandContext context) {
    OpenMemory memory(LibraryUse::read, Captures::unread);
    if (!memory.usable()) {
        co_return context.output.fail(memory.usable().error());
    }
    co_return showPage(context.output, context.arguments, *memory, Kind::project, memory.today());
}

Task<int> projectNew(CommandContext context) {
    Output& output = context.output;
    const QString name = context.arguments.at(0).simplified();
    if (isEmptyName(name)) {
        co_return refuseName(output, u"project new"_s);
    }
    OpenMemory memory(LibraryUse::write, Captures::unread);
    if (!memory.usable()) {
        co_return output.fail(memory.usable().error());
    }
    const Result<QString> slug = co_await memory->createProject(name);
    if (!slug) {
        co_return output.fail(slug.error());
    }
    const auto page = memory->entity(Kind::project, *slug);
    if (!page) {
        co_return output.fail(u"The page is gone already."_s);
    }
    if (context.arguments.wantsJson()) {
        output.printJson(memoryJson(*page));
    } else {
        output.printLine(page->id);
        output.say(output.styledError(page->url, Look::dim));
    }
    co_return 0;
}

Task<int> projectRename(CommandContext context) {
    Output& output = context.output;
    const QString name = context.arguments.at(1).simplified();
    if (isEmptyName(name)) {
        co_return refuseName(output, u"project rename"_s);
    }
    OpenMemory memory(LibraryUse::read, Captures::unread);
    if (!memory.usable()) {
        co_return output.fail(memory.usable().error());
    }
    const auto before = findPage(*memory, Kind::project, context.arguments.at(0));
    if (!before) {
        co_return output.fail(before.error());
    }
    const Result<bool> renamed = co_await memory->renameProject(before->id, name);
    if (!renamed) {
        co_return output.fail(renamed.error());
    }
    const auto page = memory->entity(Kind::project, before->id);
    if (!page) {
        co_return output.fail(u"%1 is gone."_s.arg(before->url));
    }
    if (context.arguments.wantsJson()) {
        output.printJson(memoryJson(*page));
    } else {
        output.printLine(u"%1: \"%2\" is now \"%3\"."_s.arg(page->id, Output::clean(before->name),
                                                            Output::clean(page->name)));
    }
    co_return 0;
}

Task<int> companies(CommandContext context) {
    OpenMemory memory(LibraryUse::read, Captures::read);
    if (!memory.usable()) {
        co_return context.output.fail(memory.usable().error());
    }
    co_return list(context, *memory, MemoryPart::people, memory->companies(), &companyTable,
                   u"No companies yet: they follow from the e-mail addresses of the people you meet."_s);
}

Task<int> ideas(CommandContext context) {
    OpenMemory memory(LibraryUse::read, Captures::unread);
    if (!memory.usable()) {
        co_return context.output.fail(memory.usable().error());
    }
    co_return list(context, *memory, MemoryPart::ideas, memory->ideas(), &ideaTable,
                   u"No ideas yet: a sharp opinion, a story or a lesson in a call becomes one."_s);
}

Task<int> memoryIndex(CommandContext context) {
    OpenMemory memory(LibraryUse::read, Captures::read);
    if (!memory.usable()) {
        co_return context.output.fail(memory.usable().error());
    }
    const QString index = memory->index();
    const bool isEmpty =
        memory->people().isEmpty() && memory->projects().isEmpty() && memory->promises().isEmpty();
    if (isEmpty && sayFaults(context.output, *memory, MemoryPart::all, true) != 0) {
        co_return 1;
    }
    if (context.arguments.wantsJson()) {
        context.output.printJson(QJsonObject{{u"index"_s, index}});
    } else {
        context.output.printLine(Output::cleanLines(index));
    }
    co_return isEmpty ? 0 : sayFaults(context.output, *memory, MemoryPart::all, false);
}

}  // namespace lumbro::cli
