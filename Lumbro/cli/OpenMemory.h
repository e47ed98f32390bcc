#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Failure.h"
#include "LumbroCore/Settings.h"
#include "cli/CaptureLookup.h"
#include "cli/Output.h"
#include "library/ContextLibrary.h"
#include "memory/MemoryStore.h"

#include <QString>

namespace lumbro::cli {

/// The memory of this run's library, read from its files, for one command.
class OpenMemory {
  public:
    /// What the command needs of the library: companies and meetings take reading every capture.
    enum class Captures { unread, read };

    OpenMemory(LibraryUse use, Captures captures);

    /// Why the library cannot be used so.
    const Result<>& usable() const { return m_usable; }
    MemoryStore* operator->() { return &m_memory; }
    MemoryStore& operator*() { return m_memory; }
    /// The command's day.
    QDate today() const { return m_clock.now().date(); }

  private:
    SystemClock m_clock;
    Settings m_settings;
    ContextLibrary m_library;
    MemoryStore m_memory;
    Result<> m_usable;
};

/// What of the memory a command shows.
enum class MemoryPart { people, projects, promises, ideas, all };
/// Says which files of that part cannot be read, and what to do. Gives the exit status: 1 when nothing could
/// be read at all, else 0. `isEmpty` says that the command has nothing to show.
int sayFaults(Output& output, const MemoryStore& memory, MemoryPart part, bool isEmpty);

/// The paths of the files of that part that were left out, or read in part, at the last reading; sorted.
QStringList unreadableFiles(const MemoryStore& memory, MemoryPart part);

/// The page that the user means: by its slug, by its name in any case, or by the beginning of one slug alone.
/// Fails with a sentence that says what to do.
Result<MemoryEntity> findPage(const MemoryStore& memory, MemoryEntity::Kind kind, const QString& text);
/// The promise that the user means: by its id or by the beginning of one id alone.
Result<PromiseItem> findPromise(const MemoryStore& memory, const QString& text);

}  // namespace lumbro::cli
