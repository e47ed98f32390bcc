#pragma once

#include "LumbroCore/Mailbox.h"
#include "recording/CapturePorts.h"
#include "recording/CaptureSaving.h"
#include "recording/GrowingTranscript.h"
#include "recording/Latch.h"
#include "recording/RecordingSession.h"

#include <QList>
#include <QMap>
#include <QString>

#include <memory>
#include <optional>

namespace lumbro {

class CaptureTrack;
class CaptureTranscribers;

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
    using Ports = CapturePorts;
    CaptureSession(CaptureRecord record, bool includeSystemAudio, Ports ports);
    /// Ends the audio when that is still running; nothing more is written.
    ~CaptureSession() override;

    /// Starts the audio, then the transcribers in the background.
    Task<Result<>> start() override;
    void halt() override;
    /// Where the words can't be written, also waits for the packing, which may make room for them.
    Task<CaptureRecord> stop() override;
    Task<> packed() override;
    /// Remembers the application that the call is in. Only while this is a call.
    void noteCallApp(const QString& name, const QString& bundleID);

    const CaptureRecord& record() const override { return m_saving.record(); }
    const TranscriptSegments& segments() const { return m_transcript.segments(); }
    const QMap<Speaker, QString>& volatileText() const { return m_transcript.volatileText(); }
    /// 24 values from 0 to 1, the newest last.
    const QList<float>& levels() const { return m_levels; }
    /// System audio really arrives.
    bool systemAudioActive() const { return m_systemAudioActive; }
    bool transcribing() const override;
    double untranscribedSeconds() const override;
    /// Null without a speech model.
    CaptureTranscribers* transcribers() const { return m_transcribers.get(); }
    /// A remark of one line for the user; empty when there is none.
    const QString& notice() const { return m_notice; }
    bool isCall() const override { return m_isCall; }
    void setIsCall(bool isCall) override;
    void setTitle(const QString& title) override;
    int wordCount() const override { return m_transcript.wordCount(); }
    std::optional<QString> lostAudio() const override { return m_lostAudio; }
    std::optional<QString> lostText() const override { return m_saving.loss(); }
    TranscriptSegments unsavedWords() const override { return m_saving.unsaved(); }

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
    void makeTranscribers();
    void makeTracks();
    Task<Result<>> startSource(AudioSource& source, Speaker speaker);
    Task<bool> startSystemAudio();
    void begin(std::optional<WarmSpeech> speech);
    void stopAudio();
    void tickLevels();
    Task<> flush();
    void writeAll(const TranscriptSegments& segments);
    void append(const TranscriptSegment& segment);
    QDateTime endTime() const;
    void noteLostAudio(const QString& sentence);
    void setNotice(const QString& notice);
    void setVolatile(Speaker speaker, const QString& text);
    void saveRecord();

    Ports m_ports;
    bool m_includeSystemAudio;
    CaptureSaving m_saving;
    GrowingTranscript m_transcript;
    QList<float> m_levels;
    bool m_systemAudioActive = false;
    QString m_notice;
    /// Brings what the tracks say on their threads.
    Mailbox m_mailbox;
    bool m_isCall = false;
    bool m_dirty = false;
    bool m_isFlushing = false;
    bool m_halted = false;
    QMap<Speaker, std::shared_ptr<CaptureTrack>> m_tracks;
    std::shared_ptr<CaptureTranscribers> m_transcribers;
    Timer m_levelTimer;
    Timer m_saveTimer;
    std::optional<QString> m_lostAudio;
    std::shared_ptr<Latch> m_packed = std::make_shared<Latch>();
};

}  // namespace lumbro
