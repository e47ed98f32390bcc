#pragma once

#include "LumbroCore/Settings.h"
#include "library/model/AskFlow.h"
#include "library/model/Background.h"
#include "library/model/CaptureFlow.h"
#include "library/model/CaptureNaming.h"
#include "library/model/EngineRuns.h"
#include "library/model/LibraryState.h"
#include "library/model/ModelPorts.h"
#include "library/model/Pill.h"

#include <QObject>

namespace lumbro {

class ContextLibrary;

/// The one state object above all services: what every surface shows and acts on. Its parts by subject are
/// the pill, the recording, engine runs, Ask and the Library window; what spans them is here. Main thread.
class AppModel final : public QObject {
    Q_OBJECT
    Q_PROPERTY(int revision READ revision NOTIFY revisionChanged)
    Q_PROPERTY(
        QString selectedVoiceID READ selectedVoiceID WRITE setSelectedVoiceID NOTIFY selectedVoiceIDChanged)

  public:
    using Ports = ModelPorts;

    /// References must outlive the model.
    AppModel(ContextLibrary& library, Settings& settings, Clock& clock, AgentProvider& agent, Ports ports);
    ~AppModel() override;

    ContextLibrary& library() { return m_library; }
    Pill& pill() { return m_pill; }
    LibraryState& state() { return m_state; }
    CaptureNaming& naming() { return m_naming; }
    EngineRuns& runs() { return m_runs; }
    CaptureFlow& captures() { return m_captures; }
    AskFlow& asks() { return m_asks; }

    /// Bumped when a hand-off lands or a title changes, so that views read the disk again.
    int revision() const { return m_revision; }
    /// Empty for none. Kept in the settings.
    QString selectedVoiceID() const;
    void setSelectedVoiceID(const QString& id);
    std::optional<Voice> selectedVoice() const;

    /// Done when no engine run, naming or memory pass is under way.
    Task<> finished() { return m_background.settled(); }

    // What the pill opens.
    void openInboxItem(const InboxItem& item);
    void openResult(const QString& captureID, const QString& engineID);
    /// Without a tab: the enhanced notes when there are some, else the user's own.
    void openNotes(const QString& captureID, std::optional<NotesTab> tab = std::nullopt);
    void openPrep(const QString& captureID);
    void openRun(const QString& runID);
    void openRunResult(const QString& runID);
    void openPromises();
    void openLibrary();
    void dismissPill();

    // What others offer. Shown when the pill is free, else kept in the inbox where it can be.
    void offerCapture(const QString& app);
    void callEnded();
    void presentMeeting(const MeetingOffer& offer);
    void presentIdeas(const QList<DailyIdea>& ideas);
    void presentPromises(const QStringList& promises);
    void actionFinished(const QString& runID);
    void joinMeeting(const MeetingOffer& offer);

    void completePromise(const QString& promise, const QStringList& list);
    void completeLater(const QString& promise, const QStringList& list);
    /// Work in another application has begun, and is done.
    void commandStarted(const QString& app);
    void commandDone(const AskAnswer& answer);
    /// Makes content from an answer that rests on a capture.
    void makeContent(const AskAnswer& answer);

  Q_SIGNALS:
    void revisionChanged();
    void selectedVoiceIDChanged();

  private:
    void present(PillMode mode, std::chrono::seconds collapseAfter, const std::optional<InboxItem>& item);
    void showRemaining(const QStringList& promises);
    QString enhanceID() const;
    void bumpRevision();

    ContextLibrary& m_library;
    Settings& m_settings;
    const Ports m_ports;
    Background m_background;
    Pill m_pill;
    LibraryState m_state;
    CaptureNaming m_naming;
    EngineRuns m_runs;
    CaptureFlow m_captures;
    AskFlow m_asks;
    int m_revision = 0;
};

}  // namespace lumbro
