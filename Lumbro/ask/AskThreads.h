#pragma once

#include "LumbroCore/Failure.h"
#include "ask/formats/AskLookup.h"
#include "ask/formats/AskThread.h"
#include "library/LinkFence.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <functional>

namespace lumbro {

/// The folder of thread files, `<library>/asks`. Several processes may use it at once. Any thread.
class AskThreads {
  public:
    /// Files that `mayRead` forbids are as good as not there.
    explicit AskThreads(const QString& libraryRoot, ReadGuard mayRead = {});

    QString folder() const { return m_folder; }

    /// Every thread, newest `updated` first; of one second, the file written last first. Files that are no
    /// UTF-8 text are passed over. `unreadable` gets their paths, those of empty files, and of the folder
    /// when it can't be listed.
    QList<AskThread> readAll(const AskLookup& lookup, QStringList* unreadable = nullptr) const;
    /// Newest `updated` first; threads of one date keep their order.
    static void sort(QList<AskThread>& threads);

    /// A new thread without turns, under a name that no file and nothing in `taken` has. Writes nothing.
    AskThread make(const QString& question, const QDateTime& now,
                   const std::function<bool(const QString& id)>& taken) const;
    /// Writes a new thread's file. When its name is taken, by another process say, the thread gets the next
    /// free one. On a failure nothing is written. The caller has the lock of `folder`, which is there.
    Result<AskThread> create(AskThread thread, const AskLookup& lookup) const;
    /// Adds turns at the end of the thread's file and gives the thread as the file then has it: what else
    /// stands there, by whomever, stays. On a failure nothing is written; `notFound` when the file has gone.
    /// The caller has the lock of `folder`.
    Result<AskThread> append(const AskThread& thread, const QList<AskTurn>& turns,
                             const AskLookup& lookup) const;
    /// Moves the thread's file to the Trash. Nothing to do is no failure.
    Result<> remove(const AskThread& thread) const;

  private:
    QString pathOf(const QString& id) const;

    QString m_folder;
    ReadGuard m_mayRead;
};

}  // namespace lumbro
