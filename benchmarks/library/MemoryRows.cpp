#include "benchmarks/library/MemoryRows.h"

#include "LumbroCore/Clock.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Settings.h"
#include "benchmarks/library/Measured.h"
#include "library/ContextLibrary.h"
#include "memory/Librarian.h"
#include "memory/MemoryStore.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>

#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>

namespace lumbro::bench {

namespace {

/// Answers every prompt at once, with about what a call comes to.
class InstantAgent final : public AgentProvider {
  public:
    Task<Result<QString>> run(AgentRequest request, std::shared_ptr<CancellationHandle> cancel) override {
        co_return uR"({
            "people": [{"slug": "person-7", "name": "Person 7", "timeline": "agreed on the plan"},
                       {"slug": "person-70", "name": "Person 70", "about": ["leads the build"], "timeline": "asked for the figures"},
                       {"name": "Ann Lee", "company": "Acme", "role": "CTO", "timeline": "joined the call"}],
            "projects": [{"slug": "project-3", "name": "Project 3", "status": "under way", "timeline": "moved to the next step"}],
            "promises": [{"owner": "Me", "to": "Ann Lee", "text": "send the deck", "due": "Friday"},
                         {"owner": "Ann Lee", "to": "Me", "text": "send the figures"}],
            "closed_promises": ["p-000000"],
            "ideas": [{"hook": "Why plans move", "angle": "three reasons"}]})"_s;
    }
};

/// As if every page and list had been written anew.
void touchAll(const QString& folder) {
    QDirIterator it(folder, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        utimensat(AT_FDCWD, QFile::encodeName(it.next()).constData(), nullptr, 0);
    }
}

template <typename Work>
double milliseconds(const Work& work) {
    QElapsedTimer timer;
    timer.start();
    work();
    return double(timer.nsecsElapsed()) / 1e6;
}

void reloadRows(MemoryStore& memory) {
    std::vector<double> unchanged;
    std::vector<double> changed;
    for (int i = 0; i < 9; ++i) {
        touchAll(memory.root());
        changed.push_back(milliseconds([&] { memory.reload(false); }));
        for (int j = 0; j < 5; ++j) {
            unchanged.push_back(milliseconds([&] { memory.reload(false); }));
        }
    }
    const QString note = u"%1 people, %2 projects, %3 promises"_s.arg(memory.people().size())
                             .arg(memory.projects().size())
                             .arg(memory.promises().size());
    printRow(u"look at the memory, nothing changed"_s, percentile(unchanged, 0.5), u"ms"_s, 3, note);
    printRow(u"look at the memory, everything changed"_s, percentile(changed, 0.5), u"ms"_s, 200, note);
}

bool librarianRow(ContextLibrary& library, MemoryStore& memory, Clock& clock) {
    InstantAgent agent;
    Librarian librarian(library, memory, agent, clock);
    std::vector<double> passes;
    for (const CaptureRecord& record : library.captures().first(40)) {
        if (record.meta.kind == CaptureKind::session) {
            continue;
        }
        bool isUpdated = false;
        passes.push_back(milliseconds([&] {
            const auto pass = QCoro::waitFor(librarian.run(record, nullptr, Librarian::Again::yes));
            isUpdated = pass && pass->updated;
            if (!pass) {
                std::fprintf(stderr, "%s\n", qUtf8Printable(pass.error().message));
            }
        }));
        if (!isUpdated) {
            return false;
        }
    }
    printRow(u"a pass of the Librarian, without the agent's time"_s, percentile(passes, 0.5), u"ms"_s, 100,
             u"%1 captures of %2, an agent that answers at once"_s.arg(passes.size())
                 .arg(library.captures().size()));
    return true;
}

}  // namespace

bool memoryRows(const QString& root) {
    SystemClock clock;
    const Settings settings(root + u"/../settings.ini"_s);
    ContextLibrary library(root, clock);
    library.reloadCaptures();
    MemoryStore memory(library, clock, settings);
    memory.bootstrap();
    reloadRows(memory);
    return librarianRow(library, memory, clock);
}

}  // namespace lumbro::bench
