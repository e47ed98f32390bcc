#pragma once

#include "LumbroCore/Failure.h"
#include "library/BrokenFiles.h"
#include "library/CaptureLock.h"
#include "library/LinkFence.h"
#include "library/formats/CaptureMeta.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <map>
#include <optional>

namespace lumbro {

/// The list of captures and the folder it stands for. Main thread.
class CaptureStore {
  public:
    /// `broken` must outlive this.
    CaptureStore(QString root, BrokenFiles& broken);

    /// Called after the list has changed.
    std::function<void()> onChanged;
    /// Captures whose `meta.json` it forbids are not listed.
    ReadGuard mayRead;

    QString folder() const { return m_root + QStringLiteral("/captures"); }
    const QList<CaptureRecord>& captures() const { return m_captures; }
    std::optional<CaptureRecord> record(const QString& id) const;

    CaptureRecord create(CaptureKind kind, const QString& title, const QStringList& sources,
                         const QDateTime& at);
    /// Updates the entry also when the write failed, which is logged.
    Result<> save(const CaptureRecord& record);
    /// Fails with a sentence, which is logged, when another one is recording it or it can't be moved.
    Result<> remove(const CaptureRecord& record);
    void reload();

    /// Gives every capture without an end one, except those that another process is recording.
    void recoverUnfinished();
    /// Moves finished captures with neither text nor sound to the Trash.
    void trashEmpty();

  private:
    QString makeFolder(const QString& base) const;
    void lock(const CaptureRecord& record);
    Result<QString> moveOut(const CaptureRecord& record) const;

    QString m_root;
    BrokenFiles& m_broken;
    QList<CaptureRecord> m_captures;
    /// By folder. A finished capture keeps its lock until the next begins, since its audio is packed at its
    /// end.
    std::map<QString, CaptureLock> m_locks;
};

}  // namespace lumbro
