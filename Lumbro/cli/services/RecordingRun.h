#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"
#include "app/QuitSignals.h"
#include "app/Services.h"
#include "cli/Output.h"
#include "cli/services/FinishSteps.h"
#include "cli/services/LiveLine.h"
#include "cli/services/RecordingPlan.h"
#include "library/formats/CaptureMeta.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>
#include <memory>
#include <optional>

namespace lumbro {
class FeedGate;
class FileAudioSource;
}  // namespace lumbro

namespace lumbro::cli {

class DeviceWatch;

/// How this program was called, for the library at `root`, so that a user can copy it.
QString commandOn(const QString& root);

/// One recording of the command line, from its start to the last result, shown as it goes. Main thread.
class RecordingRun final : public QObject {
    Q_OBJECT

  public:
    /// What came of it.
    struct Outcome {
        CaptureRecord record;
        /// Sentences on what did not work while the recording itself did.
        QStringList remarks;
        /// Ctrl-C came before its files were over.
        bool stoppedEarly = false;
        /// Why audio is missing on the disk, in a sentence.
        std::optional<QString> lostAudio;
        /// Why words are missing on the disk, in a sentence that says what to do.
        std::optional<QString> lostText;
        /// These words.
        TranscriptSegments unsavedWords;
        /// That some sound has no words, in a sentence.
        std::optional<QString> missedWords;
        /// The capture's folder was moved or removed; `lostText` says so.
        bool isGone = false;
    };

    RecordingRun(Output& output, RecordingPlan plan);
    ~RecordingRun() override;

    /// Called once. Fails with a sentence when nothing could be recorded or nothing was heard.
    Task<Result<Outcome>> run();
    Services& services() { return m_services; }

  Q_SIGNALS:
    /// The files are over, or Ctrl-C was pressed.
    void stopDue();

  private:
    void sayAboutSpeech();
    Task<Result<>> findDevices();
    void prepareSession(CaptureSession::Ports& ports);
    void useFiles(CaptureSession::Ports& ports);
    std::unique_ptr<AudioSource> fileSource(const SideSource& side, Speaker speaker);
    void watchSession();
    void watchDevices();
    PlayPosition played() const;
    QStringList damages() const;
    void beginStep(const QString& text);
    QString waitingText() const;
    void onInterrupt();
    void endAtOnce();
    Task<Result<Outcome>> finish();
    QStringList failures(const QString& captureID);

    Output& m_output;
    RecordingPlan m_plan;
    QTemporaryDir m_scratch;
    std::unique_ptr<Settings> m_chosenMicrophone;
    QString m_chosenOutput;
    std::shared_ptr<FeedGate> m_gate;
    Services m_services;
    QuitSignals m_interrupts;
    int m_interruptsWhileFinishing = 0;
    FinishSteps m_steps;
    QPointer<CaptureSession> m_session;
    /// The capture's own; empty before it has begun.
    QString m_folder;
    std::unique_ptr<LiveLine> m_live;
    std::unique_ptr<DeviceWatch> m_devices;
    /// Owned by the session; none before its start and after its stop.
    QList<FileAudioSource*> m_files;
    /// Where Ctrl-C stopped the files.
    std::optional<PlayPosition> m_stoppedAt;
    /// Of the memory pass.
    std::optional<Failure> m_memoryFailure;
    bool m_isStopDue = false;
    bool m_isFinishing = false;
    /// The recording is over, but its words have not all come.
    bool m_waitsForWords = false;
    /// By the user.
    bool m_waitWasEnded = false;
};

}  // namespace lumbro::cli
