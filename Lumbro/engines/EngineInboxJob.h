#pragma once

#include "LumbroCore/SpaceReserve.h"
#include "engines/DroppedFile.h"
#include "engines/EngineInbox.h"
#include "library/CaptureLock.h"

#include <QFileInfo>

#include <memory>

namespace lumbro {

/// One file on its way through an engine.
struct EngineInbox::Job {
    Engine engine;
    WaitingFile file;
    Cancel cancel = std::make_shared<CancellationHandle>();
    /// Whether a result that can't be filed waits for room.
    bool waitsForRoom = false;
    InboxFolder records;
    /// Held while any process works for the engine.
    CaptureLock lock{QString()};
    /// Another one holds it.
    bool isBusy = false;
    /// The file has gone: another process has it.
    bool isGone = false;
    bool isStuck = false;
    /// Why no other file would fare better: there is no agent to work on it.
    QString agentIsMissing{};
    QString run{};
    QString place{};
    /// Room for the run's end: a disk that fills up meanwhile shall not cost a reply that was paid for.
    std::unique_ptr<SpaceReserve> room{};
    DroppedFile contents{};

    WatchedFolder watched() const { return folderOf(engine); }
    QString runName() const { return QFileInfo(run).fileName(); }
    QString path() const { return watched().path() + u'/' + file.name; }
    QString line(const QString& text) const { return engine.id + u": "_s + text; }
};

}  // namespace lumbro
