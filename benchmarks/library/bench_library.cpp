// The whole library at the size of many years: search, chats and memory.
//
// Makes a library in a temporary folder, or in the one given, where it then stays; measures and prints rows,
// of all parts or of those named behind the folder: search, chats, memory. It runs itself as a child for what
// must begin in a fresh process.

#include "LumbroCore/Literals.h"
#include "benchmarks/library/ChatRows.h"
#include "benchmarks/library/LibraryMaker.h"
#include "benchmarks/library/MemoryRows.h"
#include "benchmarks/library/SearchRows.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

#include <cstdio>

using namespace lumbro;

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() > 3 && arguments.at(1) == u"search"_s) {
        return bench::searchChild(arguments.at(2), arguments.mid(3));
    }
    if (arguments.size() > 2 && arguments.at(1) == u"chats"_s) {
        return bench::chatChild(arguments.at(2));
    }
    const QTemporaryDir scratch;
    const QString folder = arguments.size() > 1 ? arguments.at(1) : scratch.path();
    const QString root = folder + u"/Quillet"_s;
    const QString chats = folder + u"/projects"_s;
    const bench::LibrarySize size;
    const bool isMade = QFile::exists(root) || (bench::makeLibrary(root.toStdString(), size) &&
                                                bench::makeChats(chats.toStdString(), size));
    if (!isMade) {
        std::fprintf(stderr, "The library could not be made in %s.\n", qUtf8Printable(folder));
        return 1;
    }
    bool isWhole = true;
    const std::tuple<const char*, bool (*)(const QString&), QString> parts[] = {
        {"search", bench::searchRows, root},
        {"chats", bench::chatRows, chats},
        {"memory", bench::memoryRows, root}};
    for (const auto& [name, measure, place] : parts) {
        const bool isWanted = arguments.size() < 3 || arguments.mid(2).contains(QLatin1String(name));
        if (isWanted && !measure(place)) {
            std::fprintf(stderr, "Measuring failed: %s\n", name);
            isWhole = false;
        }
    }
    return isWhole ? 0 : 1;
}
