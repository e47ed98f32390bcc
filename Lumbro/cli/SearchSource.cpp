#include "cli/SearchSource.h"

#include "ask/AskThreads.h"

namespace lumbro::cli {

SearchInput searchInput(ContextLibrary& library, MemoryStore& memory, QStringList* unreadable) {
    library.reloadCaptures();
    library.reloadEngines(false);
    memory.reload(false);
    SearchInput input{.captures = library.captures(),
                      .engineNames = {},
                      .people = memory.people(),
                      .projects = memory.projects(),
                      .promises = memory.promises(),
                      .ideas = memory.ideas(),
                      .threads = AskThreads(library.root(), library.guard()).readAll({}, unreadable)};
    for (const QList<Engine>& engines : {library.engines(), library.systemEngines()}) {
        for (const Engine& engine : engines) {
            if (!library.guard() || library.guard()(engine.url)) {
                input.engineNames[engine.id] = engine.name;
            }
        }
    }
    return input;
}

}  // namespace lumbro::cli
