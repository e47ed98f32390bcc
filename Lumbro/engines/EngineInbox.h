#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Task.h"
#include "engines/AgentPresence.h"
#include "engines/InboxFolder.h"
#include "engines/WatchedFolder.h"
#include "engines/formats/Engine.h"
#include "engines/formats/Voice.h"
#include "runners/AgentRequest.h"

#include <QList>
#include <QMap>
#include <QObject>
#include <QSet>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace lumbro {

class ContextLibrary;

/// Takes the files that are dropped into the folders of engines with `watch`, one at a time for each engine,
/// and files what the agent makes of them below `inbox` in the library. A content that is done is not done
/// again. Several processes may watch one folder. Main thread; files are read and copied on another one.
class EngineInbox final : public QObject {
    Q_OBJECT

  public:
    using Cancel = std::shared_ptr<CancellationHandle>;
    static constexpr std::chrono::seconds interval{15};

    /// References must outlive the inbox. Every default is the port's absence.
    struct Ports {
        ContextLibrary& library;
        AgentProvider& agent;
        Clock& clock;
        /// The inbox rests meanwhile.
        std::function<bool()> isRecording = [] { return false; };
        /// Why there is no agent; asked before files are taken, which are left alone then.
        AgentPresence::Why whyNoAgent{};
        std::function<std::optional<Voice>()> voice = [] { return std::optional<Voice>(); };
        /// A line for the user.
        std::function<void(QString text, bool isError)> tell = [](auto, auto) {};
    };

    explicit EngineInbox(Ports ports);
    /// Asks running agents to end; what they were at shows as interrupted from the next start on.
    ~EngineInbox() override;

    /// Says in the records of runs that no process works on any more that they were interrupted. Once at
    /// launch, before the first `scan`.
    void markInterrupted();
    /// Begins with the oldest file of each engine that is free. Called every `interval`. Where there is no
    /// agent it says so once, and looks again some minutes later.
    void scan();
    /// Works through the files that lie there now, also while recording, and tells what became of each, in
    /// order. Where another process works for an engine, its end is waited for, and what it has made of files
    /// meanwhile is told too. So are those that wait on, those that can't be taken, as failed ones without a
    /// run, and folders that can't be watched, as failed ones without a file. Once cancelled, or without an
    /// agent, nothing further begins.
    Task<QList<InboxRun>> workThrough(Cancel cancel);

    /// Engine id to the name of the file that it works on.
    const QMap<QString, QString>& running() const { return m_running; }
    /// Why nothing can be taken from the engine's folder, for people; empty when it can.
    static QString problemOf(const Engine& engine, const QString& libraryRoot);
    /// Where the engine's files are dropped.
    static WatchedFolder folderOf(const Engine& engine);
    /// The engines that watch a folder.
    static QList<Engine> watching(const ContextLibrary& library);

  Q_SIGNALS:
    void runningChanged();
    /// The agent is asked about a file.
    void began(const QString& engineName, const QString& file);
    /// Another process works for the engine, and its end is waited for.
    void waitsForTurn(const QString& engineName);

  private:
    struct Waiting {
        Engine engine;
        QList<WaitingFile> files;
    };
    struct Job;
    using JobPtr = std::shared_ptr<Job>;

    Task<> beginAll(QList<Waiting> waiting);
    Task<> scanOne(Engine engine, QList<WaitingFile> files);
    Task<bool> turn(Engine engine, Cancel cancel);
    Task<InboxRun> takeInTurn(JobPtr job, QString whyNot);
    static QList<InboxRun> endedBeside(const InboxFolder& records, const QStringList& before,
                                       const QList<InboxRun>& own);
    std::optional<InboxRun> begin(Job& job);
    Task<InboxRun> takeWithAgent(JobPtr job);
    Task<InboxRun> takeOne(JobPtr job);
    Task<InboxRun> work(JobPtr job);
    Task<InboxRun> file(JobPtr job, QString reply);
    AgentRequest request(const Job& job) const;
    static void note(const Job& job, const QString& error);
    InboxRun finish(Job& job, InboxRun::State state, const QString& message);
    static InboxRun waits(Job& job, const QString& why, InboxRun::State state = InboxRun::State::waiting);
    InboxRun couldNotTake(Job& job, const QString& reason);
    void complainOnce(const QString& key, const QString& line);
    void setRunning(const QString& engineID, const QString& file);

    Ports m_ports;
    AgentPresence m_presence;
    bool m_isLooking = false;
    QMap<QString, QString> m_running;
    QMap<QString, Cancel> m_handles;
    QSet<QString> m_stuck;
};

}  // namespace lumbro
