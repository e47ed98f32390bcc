#include "ask/AskThreads.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/LockedUpdate.h"
#include "LumbroCore/Trash.h"
#include "ask/formats/AskThreadFile.h"
#include "library/BrokenFiles.h"

#include <QDir>
#include <QFileInfo>
#include <QStringDecoder>

#include <algorithm>
#include <optional>
#include <utility>

namespace lumbro {

namespace {

std::optional<QString> textOf(const QByteArray& bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder.decode(bytes);
    return decoder.hasError() ? std::nullopt : std::optional(text);
}

/// What stands in the file goes before what we remember of it.
void adopt(AskThread& thread, const AskThread& inFile) {
    if (!inFile.turns.isEmpty()) {
        thread.title = inFile.title;
        thread.created = inFile.created;
        thread.turns = inFile.turns;
        thread.scope = inFile.scope ? inFile.scope : thread.scope;
    }
}

}  // namespace

AskThreads::AskThreads(const QString& libraryRoot) : m_folder(libraryRoot + u"/asks"_s) {}

QList<AskThread> AskThreads::readAll(const AskLookup& lookup) const {
    QList<AskThread> threads;
    for (const QFileInfo& file : QDir(m_folder).entryInfoList(QDir::Files, QDir::Name)) {
        if (file.suffix() != u"md") {
            continue;
        }
        if (const auto text = readTextFile(file.absoluteFilePath())) {
            threads.append(askThreadFile::read(*text, file.absoluteFilePath(), lookup));
        }
    }
    sort(threads);
    return threads;
}

void AskThreads::sort(QList<AskThread>& threads) {
    std::ranges::stable_sort(threads, std::greater(), &AskThread::updated);
}

AskThread AskThreads::make(const QString& question, const QDateTime& now,
                           const std::function<bool(const QString& id)>& taken) const {
    const QString name = AskThread::nameFor(question, now);
    AskThread thread;
    int count = 1;
    do {
        thread.id = count == 1 ? name : name + u'-' + QString::number(count);
        thread.path = m_folder + u'/' + thread.id + u".md"_s;
        ++count;
    } while (QFileInfo::exists(thread.path) || taken(thread.id));
    thread.title = AskThread::titleFor(question);
    thread.created = now;
    return thread;
}

Result<AskThread> AskThreads::append(AskThread thread, const QList<AskTurn>& turns,
                                     const AskLookup& lookup) const {
    if (!makePrivateFolder(m_folder)) {
        return fail(u"The folder %1 can't be made."_s.arg(m_folder));
    }
    QByteArray written;
    const FolderLock lock(m_folder);
    const auto updated = updateFile(thread.path, [&](const std::optional<QByteArray>& bytes) {
        AskThread now = thread;
        const auto text = textOf(bytes.value_or(QByteArray()));
        if (text) {
            adopt(now, askThreadFile::read(*text, thread.path, {}));
        } else if (!BrokenFiles::keepCopy(thread.path)) {
            return std::optional<QByteArray>();
        }
        now.turns += turns;
        written = askThreadFile::write(now);
        return std::optional(written);
    });
    if (!updated) {
        return std::unexpected(updated.error());
    }
    if (!*updated) {
        return fail(u"%1 can't be read and was left as it is."_s.arg(thread.path));
    }
    return askThreadFile::read(QString::fromUtf8(written), thread.path, lookup);
}

Result<> AskThreads::remove(const AskThread& thread) const {
    if (!QFileInfo::exists(thread.path)) {
        return {};
    }
    const auto moved = moveToTrash(thread.path);
    return moved ? Result<>() : std::unexpected(moved.error());
}

}  // namespace lumbro
