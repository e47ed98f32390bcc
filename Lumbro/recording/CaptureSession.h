#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Failure.h"
#include "LumbroCore/Mailbox.h"
#include "LumbroCore/Task.h"
#include "library/formats/CaptureMeta.h"
#include "library/formats/TranscriptSegment.h"
#include "platform/AudioSource.h"
#include "recording/CaptureTiming.h"
#include "recording/FeedGate.h"
#include "recording/Latch.h"
#include "recording/RecordingSession.h"
#include "recording/transcription/WarmSpeech.h"

#include <QList>
#include <QMap>
#include <QObject>
#include <QString>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace lumbro {

class CaptureTrack;
class ContextLibrary;
class LiveTranscriber;

/// One running recording: a capture folder, the tracks "Me" and "Them", their transcribers and the growing
/// transcript. Recording degrades rather than aborts: only the microphone's failure ends it. Main thread.
class CaptureSession final : public RecordingSession {
    Q_OBJECT
    Q_PROPERTY(lumbro::CaptureRecord record READ record NOTIFY recordChanged)
    Q_PROPERTY(lumbro::TranscriptSegments segments READ segments NOTIFY segmentsChanged)
    Q_PROPERTY(QList<float> levels READ levels NOTIFY levelsChanged)
    Q_PROPERTY(bool systemAudioActive READ systemAudioActive NOTIFY systemAudioActiveChanged)
    Q_PROPERTY(bool transcribing READ transcribing NOTIFY transcribingChanged)
    Q_PROPERTY(QString notice READ notice NOTIFY noticeChanged)
    Q_PROPERTY(bool isCall READ isCall WRITE setIsCall NOTIFY isCallChanged)

  public:
    /// What the session works with. References must outlive it.
    struct Ports {
        ContextLibrary& library;
        Clock& clock;
        std::unique_ptr<AudioSource> microphone = {};
        /// Started only with `includeSystemAudio`; may be missing otherwise.
        std::unique_ptr<AudioSource> system = {};
        /// Whether the microphone may be used; asks the user when that is open. Empty: it may.
        std::function<Task<bool>()> authorizeMicrophone = {};
        /// The recogniser when a speech model is there, as `SpeechAssets::warm`. Empty: no transcript.
        std::function<Task<std::optional<WarmSpeech>>()> warmSpeech = {};
        /// The time of the audio threads, from any fixed moment; called on them. Empty: the machine's.
        std::function<std::chrono::nanoseconds()> monotonic = {};
        CaptureTiming timing = CaptureTiming::live;
        /// The gate of the files that the recording is fed from; none for devices.
        std::shared_ptr<FeedGate> gate = {};
    };

    CaptureSession(CaptureRecord record, bool includeSystemAudio, Ports ports);
    /// Ends the audio when that is still running; nothing more is written.
    ~CaptureSession() override;

    /// Starts the audio, then the transcribers in the background. Fails when the microphone is refused or
    /// cannot be started; the message is for the user. Called once.
    Task<Result<>> start() override;
    /// Ends the audio and writes what is known by now. At once; a second call does nothing.
    void halt() override;
    /// Halts, waits for the last words, writes everything and begins to pack the audio. Called once.
    Task<CaptureRecord> stop() override;
    /// Done when the packing that `stop` began is done.
    Task<> packed() override;
    /// Done when every file that the recording is fed from has ended; never for devices.
    Task<> fed();
    /// Remembers the application that the call is in. Only while this is a call.
    void noteCallApp(const QString& name, const QString& bundleID);

    const CaptureRecord& record() const override { return m_record; }
    /// Final text in the order of its arrival.
    const TranscriptSegments& segments() const { return m_segments; }
    /// The latest text of each speaker that is not final yet. Never an empty text.
    const QMap<Speaker, QString>& volatileText() const { return m_volatile; }
    /// 24 values from 0 to 1, the newest last.
    const QList<float>& levels() const { return m_levels; }
    /// System audio really arrives.
    bool systemAudioActive() const { return m_systemAudioActive; }
    bool transcribing() const override { return m_transcribing; }
    /// A remark of one line for the user; empty when there is none.
    const QString& notice() const { return m_notice; }
    bool isCall() const override { return m_isCall; }
    void setIsCall(bool isCall) override;
    /// The capture's title from now on; written at once.
    void setTitle(const QString& title) override;
    /// Pieces between single blanks, over all segments.
    int wordCount() const override;
    std::optional<QString> lostAudio() const override { return m_lostAudio; }

  Q_SIGNALS:
    void recordChanged();
    void segmentsChanged();
    void volatileChanged();
    void levelsChanged();
    void systemAudioActiveChanged();
    void transcribingChanged();
    void noticeChanged();
    void isCallChanged();
    /// Every source has come to its end by itself, as files do; `stop` is due.
    void ended();

  private:
    void makeTracks(bool withSpeech);
    void makeTranscriber(Speaker speaker);
    Task<Result<>> startSource(AudioSource& source, Speaker speaker);
    Task<bool> startSystemAudio();
    void begin(std::optional<WarmSpeech> speech);
    Task<> startSpeech(WarmSpeech speech, std::shared_ptr<Latch> started);
    Task<> finishTranscribers();
    void stopAudio();
    void noteFed();
    void tickLevels();
    void flush();
    bool writeTranscript(const TranscriptSegments& segments);
    void append(const TranscriptSegment& segment);
    /// What is said and not final yet, as segments that start now.
    TranscriptSegments leftover() const;
    double audioSeconds() const;
    double secondsFromStart() const;
    QDateTime endTime() const;
    void noteLostAudio(const QString& sentence);
    void setNotice(const QString& notice);
    void setVolatile(Speaker speaker, const QString& text);
    void setTranscribing(bool transcribing);
    void setSystemAudioActive(bool active);
    void saveRecord();

    CaptureRecord m_record;
    Ports m_ports;
    bool m_includeSystemAudio;
    TranscriptSegments m_segments;
    QMap<Speaker, QString> m_volatile;
    QList<float> m_levels;
    bool m_systemAudioActive = false;
    bool m_transcribing = false;
    QString m_notice;
    /// Brings what the tracks say on their threads.
    Mailbox m_mailbox;
    bool m_isCall = false;
    bool m_dirty = false;
    bool m_halted = false;
    bool m_writeFailureLogged = false;
    QMap<Speaker, std::shared_ptr<CaptureTrack>> m_tracks;
    QMap<Speaker, std::shared_ptr<LiveTranscriber>> m_transcribers;
    Timer m_levelTimer;
    Timer m_saveTimer;
    std::optional<QString> m_lostAudio;
    /// Open once the background start of the transcribers is over; none when there is none.
    std::shared_ptr<Latch> m_speechStarted;
    std::shared_ptr<Latch> m_packed;
    std::shared_ptr<Latch> m_fed;
};

}  // namespace lumbro
