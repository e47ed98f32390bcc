#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Settings.h"
#include "ask/AskThreads.h"
#include "ask/formats/AskInput.h"
#include "ask/formats/AskTarget.h"
#include "library/formats/CaptureMeta.h"
#include "runners/AIProvider.h"
#include "runners/AgentRequest.h"

#include <QObject>

#include <functional>
#include <map>
#include <memory>
#include <optional>

namespace lumbro {

class ContextLibrary;
class MemoryStore;

/// What a question knows of the account's applications and the calendar. Every default is their absence.
struct AskPorts {
    /// Starts a check of the connectors when one is due; its result reaches later questions.
    std::function<void()> refreshConnectors = [] {};
    /// Those that answers can be sent to, in their order.
    std::function<QList<AskConnector>()> connectors = [] { return QList<AskConnector>(); };
    /// The user has said no to the calendar, or may not say yes.
    std::function<bool()> calendarIsDenied = [] { return false; };
    /// Today's date and the free times. Empty: the date alone.
    std::function<QString()> calendarContext;
    /// At most `limit` meetings to come; none without access to the calendar.
    std::function<QList<AskMeeting>(int limit)> nextMeetings = [](int) { return QList<AskMeeting>(); };
};

/// One question.
struct AskQuestion {
    QString question;
    /// The thread to go on with. Empty or unknown: a new one.
    QString thread;
    std::optional<AskLiveCall> live;
    /// The capture that a new thread is about, before `scope`.
    std::optional<CaptureRecord> about;
    AskScope scope;
    std::optional<Engine> engine;
    /// One of these is called on the main thread, unless the question is cancelled. May be empty.
    std::function<void(const AskAnswer&)> onAnswer;
    std::function<void(const Failure&)> onError;
    /// The answer's words as they come, without the lines of sources and action; `isNew` tells that what was
    /// told before was not the answer. Not every agent can. May be empty.
    std::function<void(const QString& piece, bool isNew)> onText;
};

/// The one place where a question about the library goes to a model and comes back as a stored conversation.
/// Any number of threads may be asked at once. Main thread. Everything borrowed must outlive it; when it
/// goes, running questions are cancelled.
class AskService final : public QObject {
    Q_OBJECT

  public:
    AskService(Clock& clock, Settings& settings, ContextLibrary& library, MemoryStore& memory,
               AgentProvider& agent, AskPorts ports = {});
    ~AskService() override;

    /// Newest `updated` first.
    const QList<AskThread>& threads() const { return m_threads; }
    std::optional<AskThread> thread(const QString& id) const;
    /// By thread: the question in flight, its engine's id if it has one, the last failure's sentence.
    const std::map<QString, QString>& pending() const { return m_pending; }
    const std::map<QString, QString>& pendingEngines() const { return m_pendingEngines; }
    const std::map<QString, QString>& errors() const { return m_errors; }
    /// The agent for Ask alone; nothing for the one that the settings prefer.
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
    /// A question's process has not ended yet, cancelled or not.
    bool isRunning(const QString& threadID) const { return m_handles.contains(threadID); }
    /// Why the thread's last answer is in memory alone; empty when it is in the file.
    QString saveFailure(const QString& threadID) const;
    /// The engines to offer as chips for a question about this.
    QList<Engine> chipEngines(const AskScope& scope, const QString& liveCaptureID = {}) const;
    /// What the scope is called, for people; nothing for the library and unknown captures.
    std::optional<QString> title(const AskScope& scope) const;

  Q_SIGNALS:
    void threadsChanged();
    void pendingChanged();
    void errorsChanged();
    void providerChanged();
    /// A question is over, cancelled ones included, and its process gone.
    void ended(const QString& threadID);

  private:
    struct Run;

    AskThread& threadFor(const AskQuestion& question, const QString& text);
    AgentRequest request(const AskQuestion& question, const AskThread& thread, const QString& text) const;
    Task<> run(AskQuestion question, AskThread thread, AgentRequest request,
               std::shared_ptr<CancellationHandle> handle);
    AskAnswer keep(const AskQuestion& question, AskThread thread, const QString& output);
    void finish(const QString& threadID, const std::shared_ptr<CancellationHandle>& handle);
    AskLookup lookup() const;

    Clock& m_clock;
    Settings& m_settings;
    ContextLibrary& m_library;
    MemoryStore& m_memory;
    AgentProvider& m_agent;
    AskPorts m_ports;
    AskThreads m_files;
    QList<AskThread> m_threads;
    std::map<QString, QString> m_pending;
    std::map<QString, QString> m_pendingEngines;
    std::map<QString, QString> m_errors;
    std::map<QString, QString> m_saveFailures;
    std::map<QString, std::shared_ptr<CancellationHandle>> m_handles;
    std::optional<AIProvider> m_provider;
};

}  // namespace lumbro
