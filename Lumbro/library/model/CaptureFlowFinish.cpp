#include "LumbroCore/AppLog.h"
#include "library/CaptureFiles.h"
#include "library/ContextLibrary.h"
#include "library/model/Background.h"
#include "library/model/CaptureFlow.h"
#include "library/model/CaptureNaming.h"
#include "library/model/EngineRuns.h"
#include "library/model/LibraryState.h"
#include "library/model/Pill.h"

#include <QDir>
#include <QFileInfo>
#include <QPointer>

#include <algorithm>
#include <utility>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

constexpr int wordsToEnhance = 20;
constexpr int wordsToMention = 3;
constexpr auto choiceShown = 12s;

/// Keeps the session until its audio is packed.
Task<> waitForPacking(std::shared_ptr<RecordingSession> session) {
    co_await session->packed();
}

}  // namespace

Task<CaptureEnd> CaptureFlow::stopCapture() {
    if (!m_session) {
        co_return CaptureEnd{};
    }
    AppLog::info(u"capture"_s, u"stop pressed"_s);
    m_session->halt();
    const Session session = std::exchange(m_session, nullptr);
    const QString id = session->record().id();
    setFinishing(id);
    setShowConsentHint(false);
    Q_EMIT sessionChanged();
    if (m_services.pill.shows<pill::Recording>()) {
        m_services.pill.rest();
    }
    if (m_noteSurface == NoteSurface::library) {
        m_services.state.setSelection(SidebarItem::capture(id));
    }
    Q_EMIT finishStep(u"Finishing the transcript…"_s);

    const bool transcribed = session->transcribing();
    const QPointer<CaptureFlow> alive(this);
    const CaptureRecord record = co_await session->stop();
    CaptureEnd end{CaptureEnd::Kind::kept,  record,
                   session->wordCount(),    transcribed,
                   session->lostAudio(),    session->lostText(),
                   session->unsavedWords(), session->untranscribedSeconds()};
    if (!alive) {
        co_return end;
    }
    if (m_finishingCaptureID == id) {
        setFinishing({});
    }
    if (!QFileInfo(record.folder).isDir()) {
        co_return forget(std::move(end));
    }
    if (isNothing(end)) {
        // The packing writes into the folder, which would come back after the removal.
        co_await session->packed();
        co_return alive ? removeEmpty(std::move(end)) : std::move(end);
    }
    m_services.background.run(waitForPacking(session));
    co_return finish(std::move(end));
}

bool CaptureFlow::isNothing(const CaptureEnd& end) const {
    // Where audio or heard words could not be written, what is left is not thrown away; nor is sound that
    // nobody listened to.
    const bool isUnheard = !end.transcribed || end.untranscribedSeconds > 0;
    if (isUnheard && captureFiles::hasSound(end.record)) {
        return false;
    }
    return !end.lostAudio && !end.lostText && end.words < wordsToMention &&
           m_services.library.isEmpty(end.record);
}

CaptureEnd CaptureFlow::removeEmpty(CaptureEnd end) {
    m_services.ports.closeNotes(end.record.id());
    remove(end.record);
    m_services.pill.say(u"Nothing was heard, so the note was removed."_s);
    end.kind = CaptureEnd::Kind::removed;
    return end;
}

CaptureEnd CaptureFlow::forget(CaptureEnd end) {
    m_services.ports.closeNotes(end.record.id());
    LibraryState& state = m_services.state;
    if (state.selection() == SidebarItem::capture(end.record.id())) {
        state.setSelection(std::nullopt);
    }
    m_services.pill.sayError(end.lostText.value_or(u"The folder of the recording is gone."_s));
    end.kind = CaptureEnd::Kind::gone;
    return end;
}

CaptureEnd CaptureFlow::finish(CaptureEnd end) {
    if (m_services.ports.memorize) {
        if (m_services.ports.wouldMemorize(end.record)) {
            Q_EMIT finishStep(u"Updating the memory…"_s);
        }
        m_services.background.run(memorize(end.record));
    }
    const bool thought = end.record.meta.kind == CaptureKind::thought;
    if (thought || end.words < wordsToEnhance) {
        m_services.naming.nameIfNeeded(end.record);
    }
    report(end);
    for (const auto& loss : {end.lostText, end.lostAudio, end.missedWords()}) {
        if (loss) {
            m_services.pill.sayError(*loss);
            break;
        }
    }
    return end;
}

Task<> CaptureFlow::memorize(CaptureRecord record) {
    const QPointer<CaptureFlow> alive(this);
    const QString id = record.id();
    const Result<> done = co_await m_services.ports.memorize(std::move(record));
    if (alive && !done && done.error().kind != FailureKind::cancelled) {
        Q_EMIT memoryFailed(id, done.error());
    }
}

void CaptureFlow::report(const CaptureEnd& end) {
    Pill& pill = m_services.pill;
    const QString id = end.record.id();
    const auto enhance = m_services.library.enhanceEngine();
    if (end.record.meta.kind == CaptureKind::thought) {
        pill.say(end.words < wordsToMention ? u"Note saved. Didn't catch any words."_s
                                            : u"Note saved to memory."_s);
    } else if (!end.transcribed) {
        pill.say(u"Saved without words: no speech model for your language is installed."_s);
    } else if (end.lostText) {
        // Notes without the last words would pass for the whole, and could hardly be written.
        pill.addToInbox(inbox::Handoff{id});
    } else if (end.words < wordsToEnhance) {
        pill.say(u"Saved. Not enough speech to enhance."_s);
    } else if (end.record.meta.kind == CaptureKind::meeting && enhance) {
        Q_EMIT finishStep(u"Writing the notes…"_s);
        runAutomaticEngines(id, *enhance);
    } else {
        pill.setMode(pill::Choose{id}, choiceShown, inbox::Handoff{id});
    }
}

void CaptureFlow::runAutomaticEngines(const QString& captureID, const Engine& enhance) {
    EngineRuns& runs = m_services.runs;
    runs.supersedeRun(captureID, enhance.id);
    runs.handOff(enhance, captureID);
    const QList<Engine> automatic = m_services.library.autoEngines();
    for (const Engine& engine : automatic) {
        if (engine.id != enhance.id) {
            runs.supersedeRun(captureID, engine.id);
            runs.handOff(engine, captureID, std::nullopt, true);
        }
    }
    m_services.pill.addToInbox(inbox::Handoff{captureID});
}

void CaptureFlow::discard(const CaptureRecord& record) {
    // A recording that never began has nothing to get back from the Trash. What is not its own stays whole.
    const QStringList own{u"meta.json"_s, u"me.caf"_s, u"them.caf"_s};
    QDir folder(record.folder);
    const QStringList names =
        folder.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    const bool isBare =
        std::ranges::all_of(names, [&own](const QString& name) { return own.contains(name); });
    if (isBare && !captureFiles::hasSound(record)) {
        folder.removeRecursively();
    }
    remove(record);
}

void CaptureFlow::remove(const CaptureRecord& record) {
    LibraryState& state = m_services.state;
    if (state.selection() == SidebarItem::capture(record.id())) {
        state.setSelection(std::nullopt);
    }
    if (const Result<> removed = m_services.library.deleteCapture(record); !removed) {
        AppLog::error(u"capture"_s, u"not removed: "_s + removed.error().message);
    }
}

void CaptureFlow::stop() {
    runDetached(stopCapture());
}

void CaptureFlow::setFinishing(const QString& captureID) {
    if (std::exchange(m_finishingCaptureID, captureID) != captureID) {
        Q_EMIT finishingCaptureIDChanged();
    }
}

}  // namespace lumbro
