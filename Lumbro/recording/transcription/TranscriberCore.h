#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroSpeech/Recognizer.h"
#include "recording/transcription/KeptAudio.h"
#include "recording/transcription/LiveTranscriber.h"

#include <QString>

#include <coroutine>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace lumbro {

/// What a LiveTranscriber does, kept apart so that flows under way outlive it safely.
class TranscriberCore : public std::enable_shared_from_this<TranscriberCore> {
  public:
    TranscriberCore(LiveTranscriber& owner, Speaker speaker, Clock& clock);

    /// The owner is gone: nothing is called back any more.
    void abandon();
    void open(FedAudio audio);
    Task<Result<>> start(std::shared_ptr<speech::Recognizer> recognizer, QString locale);
    void feed(std::span<const float> samples, float level);
    Task<> finish(FinishWait wait);
    void stopWaiting();
    double backlog() const;
    double unheard() const;
    double lost() const;
    Speaker speaker() const { return m_speaker; }

  private:
    struct FinishGate;

    Task<Result<>> launch();
    double beginStream();
    speech::RecognitionEvents eventsOf(int generation, double offset);
    void connectStream(std::shared_ptr<speech::RecognitionStream> stream);
    void handle(const speech::RecognitionResult& result, int generation, double offset);
    void noteFinal(double start);
    void ended(const Result<>& outcome, int generation);
    void checkForStall();
    Task<> recover(QString reason, bool isStall);
    void keepPendingVolatile();
    void prepareReplay();
    bool mayRelaunch() const { return !m_isFinishing || m_isDraining; }
    Task<> relaunch(QString reason, bool isStall);
    void giveUp();
    void openGate();
    void watchFinish(FinishWait wait);
    void checkProgress();
    quint64 activity() const;
    void stopFeeding();
    /// Both under the lock: what has no words yet, and that it will have none.
    double openSeconds() const;
    void lose(double seconds);

    void sayFinal(const TranscriptSegment& segment) const;
    void sayVolatile(const QString& text) const;
    QString name() const { return rawValue(m_speaker); }

    LiveTranscriber* m_owner;
    const Speaker m_speaker;
    Clock& m_clock;
    std::shared_ptr<speech::Recognizer> m_recognizer;
    QString m_locale;

    mutable std::mutex m_lock;
    /// What was fed before the stream of the current launch was up; with replay, what has no final yet.
    KeptAudio m_kept;
    std::shared_ptr<speech::RecognitionStream> m_stream;
    bool m_isAccepting = false;
    double m_secondsFed = 0;
    double m_loudSecondsSinceResult = 0;
    /// Where the last sound ended; what comes after it is silence.
    double m_lastSound = 0;
    /// Seconds of sound that nobody listened to.
    double m_lost = 0;

    Timer m_watchdog;
    Timer m_finishTimer;
    std::vector<std::coroutine_handle<>> m_finishWaits;
    std::optional<TranscriptSegment> m_pendingVolatile;
    /// Where the last final began.
    std::optional<double> m_lastFinal;
    /// Until the first new final, a stream says again what the one before it said last.
    bool m_isReplaying = false;
    int m_replaysInARow = 0;
    double m_lastBacklog = 0;
    quint64 m_lastActivity = 0;
    int m_generation = 0;
    int m_failuresInARow = 0;
    int m_idleChecks = 0;
    bool m_hasLaunched = false;
    bool m_hasAnalyzer = false;
    bool m_isLaunching = false;
    bool m_isFinishing = false;
    /// Finishing, and no word may be lost.
    bool m_isDraining = false;
    bool m_keepsForReplay = false;
    bool m_isRecovering = false;
    bool m_isGateOpen = false;
};

}  // namespace lumbro
