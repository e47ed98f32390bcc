#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "ask/AskContext.h"
#include "ask/AskQuestion.h"
#include "ask/AskThreads.h"
#include "library/BrokenFiles.h"
#include "runners/AIProvider.h"
#include "runners/AgentRequest.h"

#include <QMap>
#include <QObject>
#include <QSet>

#include <memory>
#include <optional>

namespace lumbro {

/// The one place where a question about the library goes to a model and comes back as a stored conversation.
/// Any number of threads may be asked at once. Main thread. Everything borrowed must outlive it; when it
/// goes, running questions are cancelled.
class AskService final : public QObject {
    Q_OBJECT

  public:
    AskService(Clock& clock, const Settings& settings, ContextLibrary& library, MemoryStore& memory,
               AgentProvider& agent, AskPorts ports = {});
    ~AskService() override;

    /// Newest `updated` first.
    const QList<AskThread>& threads() const { return m_threads; }
    std::optional<AskThread> thread(const QString& id) const;
    /// By thread: the question in flight, its engine's id if it has one, the last failure's sentence.
    const QMap<QString, QString>& pending() const { return m_pending; }
    const QMap<QString, QString>& pendingEngines() const { return m_pendingEngines; }
    const QMap<QString, QString>& errors() const { return m_errors; }
    /// The agent for Ask alone, chosen in the box of the window to come; nothing for the one that the
    /// settings prefer.
    std::optional<AIProvider> provider() const { return m_provider; }
    void setProvider(std::optional<AIProvider> provider);

    /// Reads all thread files. A new thread whose first question is in flight stays.
    void reload();
    /// Asks, and gives the thread's id at once. A thread's scope is settled by its first question.
    QString ask(const AskQuestion& question);
    /// Ends the thread's question without a trace.
    void cancel(const QString& threadID);
    /// Moves the thread's file to the Trash and forgets the thread. A failure is logged.
    void remove(const AskThread& thread);
    /// The process of the thread's question has not ended yet, cancelled or not.
    bool isRunning(const QString& threadID) const { return m_handles.contains(threadID); }
    /// Why the thread's last answer is not in its file, in a sentence; empty when it is there.
    QString saveFailure(const QString& threadID) const { return m_unsaved.value(threadID).reason; }
    /// The engines to offer as chips for a question about this, in the window to come.
    QList<Engine> chipEngines(const AskScope& scope, const QString& liveCaptureID = {}) const;
    const AskContext& context() const { return m_context; }

  Q_SIGNALS:
    void threadsChanged();
    void pendingChanged();
    void errorsChanged();
    void providerChanged();
    /// A question is over, also a cancelled one, and its process gone.
    void ended(const QString& threadID);

  private:
    using Handle = std::shared_ptr<CancellationHandle>;

    /// Answers that could not be written, which stand at the end of their thread.
    struct Unsaved {
        QList<AskTurn> turns;
        QString reason;
    };

    AskThread threadFor(const AskQuestion& question) const;
    AgentRequest request(const AskQuestion& question) const;
    Task<> run(AskQuestion question, AskThread thread, Handle handle);
    AskTurn turnFrom(const AskQuestion& question, const QString& output) const;
    QString save(const AskThread& asked, const AskTurn& turn, bool isLocked);
    Result<AskThread> write(const AskThread& thread, const QList<AskTurn>& turns, bool isLocked) const;
    void put(const AskThread& thread);
    void forgetPending(const QString& threadID);

    Clock& m_clock;
    ContextLibrary& m_library;
    AgentProvider& m_agent;
    AskContext m_context;
    AskThreads m_files;
    QList<AskThread> m_threads;
    QMap<QString, QString> m_pending;
    QMap<QString, QString> m_pendingEngines;
    QMap<QString, QString> m_errors;
    QMap<QString, Unsaved> m_unsaved;
    /// Threads without a file as yet.
    QSet<QString> m_new;
    /// Names that another process took first, and what their threads are called now.
    QMap<QString, QString> m_names;
    QMap<QString, Handle> m_handles;
    BrokenFiles m_broken;
    std::optional<AIProvider> m_provider;
};

}  // namespace lumbro
