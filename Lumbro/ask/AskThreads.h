#pragma once

#include "LumbroCore/Failure.h"
#include "ask/formats/AskLookup.h"
#include "ask/formats/AskThread.h"

#include <QDateTime>
#include <QList>
#include <QString>

#include <functional>

namespace lumbro {

/// The folder of thread files, `<library>/asks`. Several processes may use it at once. Any thread.
class AskThreads {
  public:
    explicit AskThreads(const QString& libraryRoot);

    QString folder() const { return m_folder; }

    /// Every thread, newest `updated` first. Files that are no text are passed over.
    QList<AskThread> readAll(const AskLookup& lookup) const;
    /// Newest `updated` first; threads of one date keep their order.
    static void sort(QList<AskThread>& threads);

    /// A new thread without turns, under a name that no file and nothing in `taken` has. Writes nothing.
    AskThread make(const QString& question, const QDateTime& now,
                   const std::function<bool(const QString& id)>& taken) const;
    /// Adds turns to the thread's file and gives the thread as the file then has it: what another process, or
    /// a person, has written there meanwhile stays. `thread` is what stands for a file that is missing. On a
    /// failure nothing is written.
    Result<AskThread> append(AskThread thread, const QList<AskTurn>& turns, const AskLookup& lookup) const;
    /// Moves the thread's file to the Trash. Nothing to do is no failure.
    Result<> remove(const AskThread& thread) const;

  private:
    QString m_folder;
};

}  // namespace lumbro
