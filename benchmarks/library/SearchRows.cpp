#include "benchmarks/library/SearchRows.h"

#include "LumbroCore/Clock.h"
#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Settings.h"
#include "ask/SearchIndex.h"
#include "benchmarks/library/Measured.h"
#include "benchmarks/library/Words.h"
#include "library/ContextLibrary.h"
#include "memory/MemoryStore.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonObject>

#include <cstdio>

namespace lumbro::bench {

namespace {

/// Words from the most frequent to ones that are in a few captures only or nowhere, alone and together.
QStringList queries() {
    const Words words(20260302);
    QStringList list;
    for (const size_t rank : {20, 150, 600, 1500, 4000, 8000, 11000, 11900}) {
        list += QString::fromStdString(words.at(rank));
    }
    list += list.at(3) + u' ' + list.at(4);
    list += list.at(5) + u' ' + list.at(1);
    list += {u"pricing dana"_s, u"nowhere-at-all"_s, u"meeting"_s, u"person-77"_s};
    return list;
}

/// The files of captures that a search reads.
QStringList searchedFiles(const QString& root) {
    QStringList files;
    QDirIterator it(root + u"/captures"_s, {u"transcript.json"_s, u"session.json"_s, u"*.md"_s}, QDir::Files,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        const bool isRendering = path.endsWith(u"/transcript.md"_s) || path.endsWith(u"/session.md"_s);
        files += isRendering ? QStringList() : QStringList(path);
    }
    return files;
}

double elapsedMs(const QElapsedTimer& timer) {
    return double(timer.nsecsElapsed()) / 1e6;
}

/// So many captures a list shows.
constexpr qsizetype shown = 200;

/// What was measured, in ms and MB.
struct Figures {
    std::vector<double> yardstick;
    std::vector<double> first;
    std::vector<double> warm;
    std::vector<double> memory;
    std::vector<double> afterwards;
    std::vector<double> best;

    void add(const QJsonObject& run) {
        first.push_back(run[u"first"_s].toDouble());
        memory.push_back(run[u"memory"_s].toDouble());
        afterwards.push_back(run[u"afterwards"_s].toDouble());
        const QJsonArray times = run[u"warm"_s].toArray();
        for (const auto& time : times) {
            warm.push_back(time.toDouble());
        }
        const QJsonArray bestTimes = run[u"best"_s].toArray();
        for (const auto& time : bestTimes) {
            best.push_back(time.toDouble());
        }
    }
    void print(qsizetype files, qsizetype queries) const {
        constexpr double millions = 10;
        const double rg = percentile(yardstick, 0.5);
        const double p95 = percentile(warm, 0.95);
        const QString note = u"10 million words in %1 files; rg takes %2 ms"_s.arg(files).arg(qRound(rg));
        const QString mixed = u"%1 queries from very frequent words to ones that are nowhere"_s.arg(queries);
        printRow(u"search, p50"_s, percentile(warm, 0.5), u"ms"_s, {}, mixed);
        printRow(u"search, p95"_s, p95, u"ms"_s, 50, mixed);
        printRow(u"search, p95, against rg -i -c over the same files"_s, p95 / rg, u"times"_s, 0.1, note);
        printRow(u"search for the %1 best captures, p95, against rg -i -c"_s.arg(shown),
                 percentile(best, 0.95) / rg, u"times"_s, 0.1, note);
        printRow(u"first search of the process, against rg -i -c"_s, percentile(first, 0.5) / rg, u"times"_s,
                 2, note);
        printRow(u"search, memory for a million words"_s, percentile(memory, 0.5) / millions, u"MB"_s, 16,
                 u"after the first search; %1 MB after a hundred more"_s.arg(
                     percentile(afterwards, 0.5) / millions, 0, 'f', 1));
    }
};

/// Everything there is to search, as the application has it.
SearchInput inputOf(const QString& root, SystemClock& clock) {
    ContextLibrary library(root, clock);
    const Settings settings(root + u"/../settings.ini"_s);
    MemoryStore memory(library, clock, settings);
    library.reloadCaptures();
    memory.reload(true);
    return {.captures = library.captures(),
            .engineNames = {{u"notes"_s, u"Meeting notes"_s}},
            .people = memory.people(),
            .projects = memory.projects(),
            .promises = memory.promises(),
            .ideas = memory.ideas(),
            .threads = {}};
}

}  // namespace

int searchChild(const QString& root, const QStringList& queries) {
    SystemClock clock;
    SearchIndex index(clock);
    SearchInput input = inputOf(root, clock);
    const double before = resident();
    QElapsedTimer timer;
    timer.start();
    qsizetype found = index.search(queries.first(), input)->captures.size();
    QJsonObject figures{{u"first"_s, elapsedMs(timer)}, {u"memory"_s, resident() - before}};
    QJsonArray warm;
    // A search box sends each letter: what is sought differs every time.
    for (int round = 0; round < 10; ++round) {
        for (const QString& query : queries) {
            timer.start();
            const auto results = index.search(query, input);
            warm.append(elapsedMs(timer));
            found += results->captures.size();
        }
    }
    figures[u"warm"_s] = warm;
    input.mostCaptures = shown;
    QJsonArray best;
    for (int round = 0; round < 10; ++round) {
        for (const QString& query : queries) {
            timer.start();
            const auto results = index.search(query, input);
            best.append(elapsedMs(timer));
        }
    }
    figures[u"best"_s] = best;
    figures[u"afterwards"_s] = resident() - before;
    figures[u"found"_s] = found;
    std::printf("%s\n", json::encodeCompact(figures).constData());
    return found > 0 ? 0 : 2;
}

bool searchRows(const QString& root) {
    const QStringList words = queries();
    const QStringList files = searchedFiles(root);
    Figures figures;
    // The first round is only for the kernel, which then has the files.
    for (int round = 0; round < 6; ++round) {
        const bool counts = round > 0;
        for (const qsizetype word : {1, 3, 5}) {
            const auto run =
                measured(u"rg"_s, QStringList{u"-i"_s, u"-c"_s, u"-e"_s, words.at(word)} + files);
            if (!run) {
                return false;
            }
            figures.yardstick.insert(figures.yardstick.end(), counts ? 1 : 0, run->milliseconds);
        }
        const auto run = measuredSelf(QStringList{u"search"_s, root} + words);
        if (!run) {
            return false;
        }
        if (counts) {
            figures.add(json::object(run->output));
        }
    }
    figures.print(files.size(), words.size());
    return true;
}

}  // namespace lumbro::bench
