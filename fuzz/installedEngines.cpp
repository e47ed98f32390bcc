// engines/.installed.json together with an engine file of the user's, as an upgrade finds them. The input is
// the file, a zero byte, and the engine.
#include "Check.h"
#include "library/EngineInstaller.h"

#include <QDir>
#include <QTemporaryDir>

using namespace lumbro;

namespace {

void put(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    fuzz::check(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

QByteArray get(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray input = fuzz::bytes(data, size);
    const qsizetype cut = input.indexOf('\0');
    const QByteArray engine = cut < 0 ? QByteArray("---\nname: x\n---\nold\n") : input.mid(cut + 1);

    const QTemporaryDir folder(QStringLiteral("/dev/shm/lumbro-fuzz-XXXXXX"));
    const QString builtIns = folder.filePath(QStringLiteral("builtIns"));
    const QString own = folder.filePath(QStringLiteral("own"));
    QDir().mkpath(builtIns);
    QDir().mkpath(own);
    const QByteArray shipped("---\nname: Notes\nauto: true\nversion: 3\n---\nnew prompt\n");
    put(builtIns + QStringLiteral("/notes.md"), shipped);
    put(own + QStringLiteral("/notes.md"), engine);
    put(own + QStringLiteral("/.installed.json"), cut < 0 ? input : input.first(cut));

    EngineInstaller(builtIns, own).install();
    const QByteArray first = get(own + QStringLiteral("/notes.md"));
    const QByteArray record = get(own + QStringLiteral("/.installed.json"));
    EngineInstaller(builtIns, own).install();
    fuzz::check(get(own + QStringLiteral("/notes.md")) == first);
    fuzz::check(get(own + QStringLiteral("/.installed.json")) == record);
    return 0;
}
