#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"
#include "library/formats/CaptureMeta.h"
#include "memory/KeptReply.h"
#include "memory/MemoryPass.h"
#include "memory/ReplyChanges.h"
#include "memory/formats/LibrarianOps.h"
#include "memory/formats/MemoryEntity.h"
#include "runners/AgentRequest.h"

#include <QList>
#include <QMultiMap>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace lumbro {

class ContextLibrary;
class MemoryStore;
struct LibrarianInput;

/// Turns finished captures, and what is new in a log of chats, into lasting memory: shows the model the
/// capture and what is known, and has the store apply what it proposes. The model itself gets no tools and
/// writes nothing. Every failure is logged; a capture that the model did not read, or of which something
/// could not be written, stays unread for a later pass. What the model replied is kept until it is written,
/// so that no reply is asked for twice. Several passes may be under way at once, in other processes too, but
/// one at a time for a capture. Main thread.
class Librarian final : public QObject {
    Q_OBJECT

  public:
    using Cancel = std::shared_ptr<CancellationHandle>;

    /// All must outlive every pass.
    Librarian(ContextLibrary& library, MemoryStore& memory, AgentProvider& agent, Clock& clock);
    ~Librarian() override;

    enum class Again { no, yes };
    /// Reads one capture; one that was read before only with `Again::yes`, but what is new in a log of chats
    /// in any case. The handle may be none. Fails for a capture of which too little can be read because a
    /// file is broken. A failure of the model changes nothing; one of a file may leave the others changed.
    Task<Result<MemoryPass>> run(CaptureRecord record, Cancel cancel = nullptr, Again again = Again::no);
    /// False when `run` would find too little to read, or nothing new.
    bool wouldRead(const CaptureRecord& record) const;
    /// Reads every finished capture that was never read, oldest first, one after the other; briefs and logs
    /// of chats are left out. Ends early when the agent cannot be used at all. `onBegin` is called before
    /// each that is tried, and may be empty.
    Task<MemoryCatchUp> catchUp(std::function<void(const CaptureRecord&)> onBegin = {},
                                Cancel cancel = nullptr);
    /// Asks the agent of every pass under way to end.
    void cancelAll();
    /// What `catchUp` would read now, oldest first.
    QList<CaptureRecord> unread() const;

    /// What a log of chats may change: no people, known projects only, two promises and one idea. What is
    /// left out is noted in `changes`.
    static LibrarianOps sessionOps(LibrarianOps ops, const QList<MemoryEntity>& projects,
                                   ReplyChanges& changes);

  private:
    class Busy;
    struct Work;

    /// Looks at the capture's files as they are now; nothing when nothing is to be done.
    std::optional<Work> workOn(const CaptureRecord& listed, Again again);
    AgentRequest request(const CaptureRecord& record, const LibrarianInput& input) const;
    /// The reply, when `LibrarianOps` can be read from it.
    Task<Result<QString>> ask(AgentRequest request, Cancel cancel);
    Task<Result<MemoryPass>> apply(CaptureRecord record, KeptReply reply);
    Result<> markMemorized(const CaptureRecord& record, const std::optional<QDateTime>& through);
    void markRead(const CaptureRecord& record, const QDateTime& through);

    ContextLibrary& m_library;
    MemoryStore& m_memory;
    AgentProvider& m_agent;
    Clock& m_clock;
    /// What is being read, by the capture's id.
    QMultiMap<QString, Cancel> m_reading;
};

}  // namespace lumbro
