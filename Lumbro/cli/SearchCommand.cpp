#include "cli/SearchCommand.h"

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "ask/Highlight.h"
#include "ask/SearchIndex.h"
#include "cli/CaptureLookup.h"
#include "cli/OpenMemory.h"
#include "cli/SearchOutput.h"
#include "cli/SearchSource.h"
#include "library/ContextLibrary.h"
#include "memory/MemoryStore.h"

#include <algorithm>

namespace lumbro::cli {

namespace {

void sayUnsearched(Output& output, const QStringList& paths) {
    constexpr qsizetype mostSaid = 5;
    for (const QString& path : paths.first(std::min(paths.size(), mostSaid))) {
        output.fail(
            Output::clean(u"%1 can't be read and was not searched; mend it, or move it away."_s.arg(path)));
    }
    if (paths.size() > mostSaid) {
        output.fail(u"%1 more files can't be read and were not searched."_s.arg(paths.size() - mostSaid));
    }
}

}  // namespace

Task<int> search(CommandContext context) {
    Output& output = context.output;
    const QString query = context.arguments.positionals().join(u' ');
    const QString root = ContextLibrary::rootFromEnvironment();
    if (const auto usable = checkLibrary(root, LibraryUse::read); !usable) {
        co_return output.fail(usable.error());
    }
    const QStringList terms = highlight::terms(query);
    if (terms.isEmpty()) {
        if (context.arguments.wantsJson()) {
            output.printJson(searchJson({}));
        } else {
            output.say(u"Nothing to search for: give a word."_s);
        }
        co_return 0;
    }
    SystemClock clock(SystemClock::dateFromEnvironment());
    const Settings settings;
    ContextLibrary library(root, clock);
    MemoryStore memory(library, clock, settings);
    SearchIndex index(clock);
    constexpr qsizetype usual = 10;
    const auto limit = context.arguments.number("limit");
    const qsizetype most = limit ? *limit : usual;
    QStringList unreadable;
    SearchInput input = searchInput(library, memory, &unreadable);
    input.mostCaptures = limit || !context.arguments.wantsJson() ? most : input.mostCaptures;
    const SearchResults results = index.search(query, input).value_or(SearchResults());
    if (context.arguments.wantsJson()) {
        output.printJson(searchJson(results));
    } else if (results.isEmpty()) {
        output.say(u"Nothing in the library holds \"%1\"."_s.arg(Output::clean(terms.join(u"\" and \""_s))));
    } else {
        output.print(searchText(output, results, terms, most));
    }
    sayUnsearched(output, unreadable + results.unreadable);
    sayFaults(output, memory, MemoryPart::all, false);
    co_return 0;
}

}  // namespace lumbro::cli
