#pragma once

#include "LumbroCore/Failure.h"
#include "memory/MemoryMerge.h"
#include "memory/MemoryPass.h"
#include "memory/NewIdea.h"

#include <QByteArray>
#include <QDate>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

namespace lumbro {

/// Changes the files of the memory. Every change reads the file anew, so that none is made to what another
/// one wrote meanwhile. Failures are logged and given back. The caller holds a `MemoryLock`.
class MemoryWriter {
  public:
    /// `root` is the memory's folder.
    explicit MemoryWriter(QString root);

    QString promisesFile() const { return m_root + QStringLiteral("/promises.md"); }
    QString ideasFile() const { return m_root + QStringLiteral("/ideas.md"); }
    QString folder(MemoryEntity::Kind kind) const { return m_root + u'/' + MemoryEntity::folderName(kind); }

    /// Makes the lists where they are missing and removes what killed writes left behind.
    void start() const;
    /// Everything that could be written stays when a part fails; the first failure is given back. What is
    /// not taken as it stands is noted in `changes`.
    Result<MemoryPass> apply(MemoryMerge::Known known, const LibrarianOps& ops, const CaptureRecord& record,
                             QDate today, ReplyChanges& changes) const;
    /// False when there is no promise with the id.
    Result<bool> setPromise(const QString& id, bool done) const;
    Result<bool> snoozePromise(const QString& id, QDate until) const;
    /// How many that were open are ticked now.
    Result<qsizetype> closePromises(const QStringList& ids, const QList<PromiseItem>& known,
                                    ReplyChanges& changes) const;
    /// The lines written.
    Result<QStringList> addIdeas(const QList<NewIdea>& items, QDate today, ReplyChanges& changes) const;
    /// The new page's slug.
    Result<QString> createProject(const QString& name) const;
    /// False when nothing was to be changed.
    Result<bool> renameProject(const QString& slug, const QString& name) const;

  private:
    using ListChange = std::function<std::optional<QByteArray>(const QByteArray& file)>;

    Result<bool> changePromises(const ListChange& change) const;

    QString m_root;
};

}  // namespace lumbro
