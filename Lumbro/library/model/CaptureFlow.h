#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"
#include "library/formats/CaptureMeta.h"
#include "library/model/CaptureEnd.h"
#include "library/model/ModelPorts.h"
#include "meetings/formats/PrepEvent.h"

#include <QObject>
#include <QString>

#include <memory>
#include <optional>

namespace lumbro {

class Background;
class CaptureNaming;
class ContextLibrary;
class EngineRuns;
class LibraryState;
class Pill;

/// From the start of a recording to the moment when its results are on their way. Main thread.
class CaptureFlow final : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isRecording READ isRecording NOTIFY sessionChanged)
    Q_PROPERTY(bool showConsentHint READ showConsentHint NOTIFY showConsentHintChanged)
    Q_PROPERTY(QString finishingCaptureID READ finishingCaptureID NOTIFY finishingCaptureIDChanged)

  public:
    struct Services {
        ContextLibrary& library;
        Clock& clock;
        Pill& pill;
        LibraryState& state;
        EngineRuns& runs;
        CaptureNaming& naming;
        Background& background;
        const ModelPorts& ports;
    };

    explicit CaptureFlow(Services services);
    ~CaptureFlow() override;

    /// The running recording; null when there is none.
    RecordingSession* session() const { return m_session.get(); }
    bool isRecording() const { return m_session != nullptr; }
    /// For the first 5 seconds of a meeting.
    bool showConsentHint() const { return m_showConsentHint; }
    /// Id of the capture that is being stopped; empty when there is none.
    const QString& finishingCaptureID() const { return m_finishingCaptureID; }
    NoteSurface noteSurface() const { return m_noteSurface; }

    /// Starts a recording and gives its capture. Fails, and tells the user, when dictation is busy, a
    /// recording runs, or the microphone cannot be used; the capture is gone then.
    Task<Result<CaptureRecord>> startCapture(CaptureKind kind, CaptureIntent intent,
                                             std::optional<PrepEvent> event, NoteSurface surface);
    /// Starts the recording of the meeting that a brief was written for.
    void startCapture(const CaptureRecord& prep);
    /// Ends the recording: the audio at once, then its texts; starts memory, title and engines.
    Task<CaptureEnd> stopCapture();

    /// Tells a running recording its new title, which it would else write over.
    void retitle(const QString& captureID, const QString& title);

    void takeNotes(NoteSurface surface);
    void newNote();
    /// The hot keys: stop when recording, else start.
    void toggleNote();
    void toggleCapture();

  Q_SIGNALS:
    void sessionChanged();
    void showConsentHintChanged();
    void finishingCaptureIDChanged();
    /// A step of the finish begins; the text is for the user.
    void finishStep(const QString& text);
    /// The memory pass over a finished capture came to nothing.
    void memoryFailed(const QString& captureID, const lumbro::Failure& failure);

  private:
    using Session = std::shared_ptr<RecordingSession>;

    CaptureRecord makeRecord(CaptureKind kind, CaptureIntent intent, std::optional<PrepEvent> event);
    void showStarted(const CaptureRecord& record);
    void dropFailedStart(const CaptureRecord& record, const Session& session, const Failure& failure);
    std::unexpected<Failure> refuse(const QString& message);
    bool isNothing(const CaptureEnd& end) const;
    CaptureEnd removeEmpty(CaptureEnd end);
    CaptureEnd forget(CaptureEnd end);
    CaptureEnd finish(CaptureEnd end);
    Task<> memorize(CaptureRecord record);
    void report(const CaptureEnd& end);
    void runAutomaticEngines(const QString& captureID, const Engine& enhance);
    void discard(const CaptureRecord& record);
    void remove(const CaptureRecord& record);
    void start(CaptureKind kind, CaptureIntent intent, std::optional<PrepEvent> event, NoteSurface surface);
    void stop();
    void setShowConsentHint(bool show);
    void setFinishing(const QString& captureID);

    Services m_services;
    Session m_session;
    QString m_finishingCaptureID;
    NoteSurface m_noteSurface = NoteSurface::beside;
    bool m_showConsentHint = false;
    Timer m_consentTimer;
};

}  // namespace lumbro
