#include "ask/AskThreads.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/LockedUpdate.h"
#include "LumbroCore/Trash.h"
#include "ask/formats/AskThreadFile.h"
#include "library/SummaryCache.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUtf8StringView>

#include <algorithm>
#include <optional>
#include <utility>
#include <vector>

#include <fcntl.h>

namespace lumbro {

namespace {

constexpr int mostNames = 1000;

struct DatedFile {
    qint64 modified = 0;
    QFileInfo file;
};

/// Written last first, of which the dates in the files, whole seconds, don't always tell. Each file is looked
/// at once: others may write meanwhile, and the order is to be one.
std::vector<DatedFile> newestFirst(const QString& folder) {
    const QFileInfoList all = QDir(folder).entryInfoList(QDir::Files, QDir::Name);
    std::vector<DatedFile> files;
    files.reserve(size_t(all.size()));
    for (const QFileInfo& file : all) {
        const QByteArray path = QFile::encodeName(file.absoluteFilePath());
        files.push_back({FileStamp::of(AT_FDCWD, path.constData()).modified, file});
    }
    std::ranges::stable_sort(files, std::greater(), &DatedFile::modified);
    return files;
}

/// UTF-8, and not UTF-16 of plain letters, whose bytes could pass for it.
bool isText(const QByteArray& bytes) {
    return !bytes.contains('\0') && QUtf8StringView(bytes).isValidUtf8();
}

AskThread readBytes(const QByteArray& bytes, const QString& path, const AskLookup& lookup) {
    return askThreadFile::read(QString::fromUtf8(bytes), path, lookup);
}

Failure unreadable(const QString& path) {
    return {FailureKind::failed, u"%1 can't be read and was left as it is."_s.arg(path)};
}

/// The thread's name without the number that tells it from another one of that name.
QString baseName(const AskThread& thread) {
    const QString name = thread.turns.isEmpty()
                             ? thread.id
                             : AskThread::nameFor(thread.turns.first().question, thread.created);
    return thread.id.startsWith(name + u'-') ? name : thread.id;
}

}  // namespace

AskThreads::AskThreads(const QString& libraryRoot, ReadGuard mayRead)
    : m_folder(libraryRoot + u"/asks"_s), m_mayRead(std::move(mayRead)) {}

QList<AskThread> AskThreads::readAll(const AskLookup& lookup, QStringList* unreadable) const {
    QList<AskThread> threads;
    const auto pass = [unreadable](const QString& path) {
        if (unreadable != nullptr) {
            unreadable->append(path);
        }
    };
    const QFileInfo folder(m_folder);
    if (folder.exists() && (!folder.isDir() || !folder.isReadable())) {
        pass(m_folder);
    }
    for (const auto& [modified, file] : newestFirst(m_folder)) {
        if (file.suffix() != u"md" || (m_mayRead && !m_mayRead(file.absoluteFilePath()))) {
            continue;
        }
        const auto bytes = readFile(file.absoluteFilePath());
        if (bytes && isText(*bytes)) {
            threads.append(readBytes(*bytes, file.absoluteFilePath(), lookup));
        }
        if (!bytes || !isText(*bytes) || bytes->trimmed().isEmpty()) {
            pass(file.absoluteFilePath());
        }
    }
    sort(threads);
    return threads;
}

void AskThreads::sort(QList<AskThread>& threads) {
    std::ranges::stable_sort(threads, std::greater(), &AskThread::updated);
}

QString AskThreads::pathOf(const QString& id) const {
    return m_folder + u'/' + id + u".md"_s;
}

AskThread AskThreads::make(const QString& question, const QDateTime& now,
                           const std::function<bool(const QString& id)>& taken) const {
    const QString name = AskThread::nameFor(question, now);
    AskThread thread;
    int count = 1;
    do {
        thread.id = count == 1 ? name : name + u'-' + QString::number(count);
        thread.path = pathOf(thread.id);
        ++count;
    } while (QFileInfo::exists(thread.path) || taken(thread.id));
    thread.title = AskThread::titleFor(question);
    thread.created = now;
    return thread;
}

Result<AskThread> AskThreads::create(AskThread thread, const AskLookup& lookup) const {
    const QString name = baseName(thread);
    for (int count = 2; count < mostNames; ++count) {
        const QByteArray bytes = askThreadFile::write(thread);
        const auto made = updateFile(thread.path, [&](const std::optional<QByteArray>& old) {
            return old ? std::nullopt : std::optional(bytes);
        });
        if (!made) {
            return std::unexpected(made.error());
        }
        if (*made) {
            return readBytes(bytes, thread.path, lookup);
        }
        thread.id = name + u'-' + QString::number(count);
        thread.path = pathOf(thread.id);
    }
    return fail(u"There is no free name for the conversation %1."_s.arg(name));
}

Result<AskThread> AskThreads::append(const AskThread& thread, const QList<AskTurn>& turns,
                                     const AskLookup& lookup) const {
    QByteArray written;
    std::optional<Failure> failure;
    const auto updated = updateFile(thread.path, [&](const std::optional<QByteArray>& bytes) {
        failure.reset();
        if (!bytes) {
            failure = {FailureKind::notFound, u"The conversation was deleted meanwhile."_s};
        } else if (!isText(*bytes)) {
            failure = unreadable(thread.path);
        }
        if (failure) {
            return std::optional<QByteArray>();
        }
        written = askThreadFile::appended(*bytes, thread.scope, turns);
        return std::optional(written);
    });
    if (!updated || failure) {
        return std::unexpected(updated ? *failure : updated.error());
    }
    return readBytes(written, thread.path, lookup);
}

Result<> AskThreads::remove(const AskThread& thread) const {
    if (!QFileInfo::exists(thread.path)) {
        return {};
    }
    const auto moved = moveToTrash(thread.path);
    return moved ? Result<>() : std::unexpected(moved.error());
}

}  // namespace lumbro
