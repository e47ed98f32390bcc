#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"
#include "engines/formats/Engine.h"
#include "engines/formats/Voice.h"
#include "library/formats/CaptureMeta.h"
#include "memory/formats/DailyIdea.h"
#include "runners/AgentRequest.h"

#include <QMap>
#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace lumbro {

class Background;
class CaptureNaming;
class ContextLibrary;
class Pill;

/// A run that is under way, or the last one's failure.
struct EngineRunState {
    bool running = false;
    /// The sentence for the user when the run has failed.
    QString failure;
    /// `Failure::detail` of it.
    QString detail = {};

    bool operator==(const EngineRunState&) const = default;
};

/// Runs engines on captures; the result is a file of the capture. One pair of capture and engine runs once at
/// a time. Main thread.
class EngineRuns final : public QObject {
    Q_OBJECT

  public:
    struct Ports {
        ContextLibrary& library;
        AgentProvider& agent;
        Pill& pill;
        CaptureNaming& naming;
        Background& background;
        std::function<bool()> isRecording;
        std::function<std::optional<Voice>()> voice;
        std::function<Task<QString>()> calendarContext;
        std::function<void(QString text, CaptureRecord)> exportSlides;
    };

    explicit EngineRuns(Ports ports);
    ~EngineRuns() override;

    static QString key(const QString& captureID, const QString& engineID) {
        return captureID + u'/' + engineID;
    }
    /// By key. A run that has succeeded or was cancelled leaves no entry.
    const QMap<QString, EngineRunState>& runs() const { return m_runs; }
    bool isRunning(const QString& captureID, const QString& engineID) const;

    /// Fails, with what to do, where the capture's transcript is there but cannot be read: no engine runs
    /// then.
    static Result<> checkTranscript(const CaptureRecord& record);
    /// Starts a run. `focus` is the idea to build around. A quiet run leaves the pill alone.
    void handOff(const Engine& engine, const QString& captureID,
                 const std::optional<QString>& focus = std::nullopt, bool quiet = false);
    /// The same, and gives the text once it is written. Fails with `notFound` when there is no such capture,
    /// with `cancelled` when the run was cancelled or replaced, and with a sentence, before anything runs,
    /// when the capture's transcript cannot be read.
    Task<Result<QString>> runEngine(Engine engine, QString captureID, std::optional<QString> focus,
                                    bool quiet);
    /// Asks the run to end; the entries go when it has.
    void cancelRun(const QString& captureID, const QString& engineID);
    /// Cancels a run and forgets it at once: whatever it still brings leaves no mark.
    void supersedeRun(const QString& captureID, const QString& engineID);
    /// Makes content around one of the day's ideas; the others go back to the inbox.
    void makeIdea(const DailyIdea& idea, const QList<DailyIdea>& ideas);

  Q_SIGNALS:
    void runsChanged();
    void handoffWritten(const QString& captureID, const QString& engineID);

  private:
    struct Run;

    AgentRequest request(const Run& run, const QString& calendar) const;
    Task<Result<QString>> answer(Run run);
    void begin(const Run& run);
    Result<QString> finish(const Run& run, Result<QString> reply);
    Result<QString> succeed(const Run& run, const QString& text);
    std::unexpected<Failure> refuse(const Engine& engine, const CaptureRecord& record, const Failure& failure,
                                    bool quiet);
    bool mayUsePill(const Run& run) const;
    void setState(const QString& key, const std::optional<EngineRunState>& state);

    Ports m_ports;
    QMap<QString, EngineRunState> m_runs;
    QMap<QString, std::shared_ptr<CancellationHandle>> m_handles;
};

}  // namespace lumbro
