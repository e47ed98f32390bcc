#include "cli/SearchCommand.h"

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "ask/Highlight.h"
#include "ask/SearchIndex.h"
#include "cli/CaptureLookup.h"
#include "cli/SearchOutput.h"
#include "cli/SearchSource.h"
#include "library/ContextLibrary.h"
#include "memory/MemoryStore.h"

namespace lumbro::cli {

Task<int> search(CommandContext context) {
    Output& output = context.output;
    const QString query = context.arguments.positionals().join(u' ');
    const QString root = ContextLibrary::rootFromEnvironment();
    if (const auto usable = checkLibrary(root, LibraryUse::read); !usable) {
        co_return output.fail(usable.error());
    }
    const QStringList terms = highlight::terms(query);
    if (terms.isEmpty()) {
        co_return output.fail(u"Nothing to search for: give a word."_s);
    }
    SystemClock clock(SystemClock::dateFromEnvironment());
    const Settings settings;
    ContextLibrary library(root, clock);
    MemoryStore memory(library, clock, settings);
    SearchIndex index(clock);
    constexpr qsizetype usual = 10;
    const auto limit = context.arguments.number("limit");
    const qsizetype most = limit ? *limit : usual;
    SearchInput input = searchInput(library, memory);
    input.mostCaptures = limit || !context.arguments.wantsJson() ? most : input.mostCaptures;
    const SearchResults results = index.search(query, input).value_or(SearchResults());
    if (context.arguments.wantsJson()) {
        output.printJson(searchJson(results));
    } else if (results.isEmpty()) {
        output.say(u"Nothing in the library holds \"%1\"."_s.arg(Output::clean(terms.join(u"\" and \""_s))));
    } else {
        output.print(searchText(output, results, terms, most));
    }
    co_return 0;
}

}  // namespace lumbro::cli
