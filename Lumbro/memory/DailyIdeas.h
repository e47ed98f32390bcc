#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Failure.h"
#include "LumbroCore/Settings.h"
#include "LumbroCore/Task.h"
#include "engines/formats/Engine.h"
#include "engines/formats/Voice.h"
#include "library/formats/CaptureMeta.h"
#include "memory/NewIdea.h"
#include "memory/formats/DailyIdea.h"
#include "runners/AgentRequest.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

namespace lumbro {

class ContextLibrary;
class MemoryStore;

/// Reads the day's captures once an evening, asks the agent for content ideas, and files them in `ideas.md`.
/// Main thread.
class DailyIdeas final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isRunning READ isRunning NOTIFY isRunningChanged)

  public:
    using Cancel = std::shared_ptr<CancellationHandle>;

    /// All references must outlive it.
    struct Ports {
        Clock& clock;
        Settings& settings;
        ContextLibrary& library;
        MemoryStore& memory;
        AgentProvider& agent;
        std::function<bool()> isRecording;
        /// The writing voice that is chosen.
        std::function<std::optional<Voice>()> voice;
        /// Files the chats since this moment.
        std::function<Task<>(QDateTime since)> importChats;
        /// Puts ideas in front of the user.
        std::function<void(QList<DailyIdea>)> present;
        /// A line for the user, and the sentence of a failure.
        std::function<void(QString)> say;
        std::function<void(QString)> sayError;
    };

    explicit DailyIdeas(Ports ports);
    ~DailyIdeas() override;

    /// Looks now and every minute whether the day's pass is due.
    void start();
    bool isRunning() const { return m_isRunning; }

    /// Makes the pass for the day of `day` and gives the ideas that are new. With `present` the user is shown
    /// them, or told why there are none. A failure is logged; it is `cancelled` when another pass
    /// runs. While another process makes one, it fails and nobody is told; with `onWait` it calls that,
    /// waits, and gives what the other one has found, unless that one failed. The handle may be none.
    Task<Result<QList<DailyIdea>>> run(QDateTime day, bool present, Cancel cancel = nullptr,
                                       std::function<void()> onWait = {});
    /// The finished captures that began on the day, oldest first; a brief is no day's work.
    QList<CaptureRecord> captures(const QDateTime& day) const;

    /// The ideas in an agent's reply, at most 3; nothing, which is logged, when it can't be read. `folders`
    /// are the captures that it was shown. Any text.
    static std::optional<QList<DailyIdea>> parse(const QString& text, const QStringList& folders);

  Q_SIGNALS:
    void isRunningChanged();

  private:
    class Busy;

    void check();
    bool hasCaptures(const QDateTime& day);
    QByteArray doneMark() const;
    void markDone() const;
    QList<DailyIdea> addedSince(const QSet<QString>& knownHooks);
    Task<Result<QList<DailyIdea>>> pass(QDateTime day, Cancel cancel);
    Task<Result<QList<DailyIdea>>> file(QString reply, QList<CaptureRecord> captures);
    QString input(const QDateTime& day, const QList<CaptureRecord>& captures) const;
    AgentRequest request(const Engine& engine, const QString& input) const;
    QList<NewIdea> newIdeas(const QList<DailyIdea>& ideas) const;
    void show(const Result<QList<DailyIdea>>& ideas);

    Ports m_ports;
    bool m_isRunning = false;
    /// Spent although it could not be written: better no pass than one a minute.
    QString m_spentDay;
    Timer m_timer;
};

}  // namespace lumbro
