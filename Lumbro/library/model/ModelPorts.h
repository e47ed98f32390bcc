#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"
#include "ask/formats/AskAnswer.h"
#include "ask/formats/AskScope.h"
#include "engines/formats/Engine.h"
#include "library/formats/CaptureMeta.h"
#include "meetings/formats/PrepEvent.h"
#include "recording/RecordingSession.h"

#include <QString>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

namespace lumbro {

/// The application that a call is in.
struct CallApp {
    QString name;
    QString bundleID;

    bool operator==(const CallApp&) const = default;
};

/// One question for the Ask service.
struct AskCall {
    QString question;
    /// An engine that runs in Ask; nothing for a plain question.
    std::optional<Engine> engine;
    AskScope scope;
    /// The running recording, whose words so far belong to the input; may be null.
    RecordingSession* live = nullptr;
    std::optional<CaptureRecord> about;
    /// One of these is called on the main thread, unless the question is cancelled. May be empty.
    std::function<void(AskAnswer)> onAnswer;
    std::function<void(Failure)> onError;
};

/// The tabs of the small notes window beside a call.
enum class NotesTab { mine, enhanced };

/// Speech into the Ask field.
enum class AskDictationPhase { off, listening, finishing };

/// What the model needs of services above and beside it. Every default is the service's absence.
struct ModelPorts {
    /// Without it no recording can start.
    std::function<std::unique_ptr<RecordingSession>(CaptureRecord record, bool includeSystemAudio)>
        makeSession;

    // What goes on elsewhere.
    std::function<bool()> dictationBusy = [] { return false; };
    std::function<bool()> pillIsHovering = [] { return false; };
    std::function<bool()> callInProgress = [] { return false; };
    /// The application of the call in progress, told with the help of the event when there is one.
    std::function<std::optional<CallApp>(std::optional<PrepEvent>)> callApp = [](auto) {
        return std::optional<CallApp>();
    };
    /// The calendar event in progress or about to start.
    std::function<std::optional<PrepEvent>()> eventNow = [] { return std::optional<PrepEvent>(); };
    /// The meeting link of an event, by the event's id.
    std::function<std::optional<QUrl>(QString)> eventLink = [](auto) { return std::optional<QUrl>(); };
    /// Today's date and the free times, for engines that ask for them. May be empty.
    std::function<Task<QString>()> calendarContext;

    // Work that a capture or a result starts.
    /// Whether the memory pass would work on the capture.
    std::function<bool(const CaptureRecord&)> wouldMemorize = [](const auto&) { return true; };
    /// The memory pass over a finished capture. May be empty.
    std::function<Task<Result<>>(CaptureRecord)> memorize;
    std::function<void(QString text, CaptureRecord)> exportSlides = [](auto, auto) {};
    std::function<void(QString promise)> completePromise = [](auto) {};
    std::function<void(QString runID)> openActionResult = [](auto) {};
    std::function<void(QUrl)> openLink = [](auto) {};

    /// Asks, and gives the thread's id at once.
    std::function<QString(AskCall)> ask = [](const AskCall& call) {
        if (call.onError) {
            call.onError({FailureKind::failed, QStringLiteral("Ask isn't part of this version.")});
        }
        return QString();
    };
    std::function<void(QString thread)> cancelAsk = [](auto) {};
    std::function<AskDictationPhase()> askDictationPhase = [] { return AskDictationPhase::off; };
    std::function<void()> startAskDictation = [] {};
    std::function<void()> stopAskDictation = [] {};
    /// Waits for the last words and then sends the question.
    std::function<void()> finishAskDictation = [] {};

    // Windows.
    std::function<void()> showLibrary = [] {};
    std::function<void(QString captureID, NotesTab tab, bool activate)> showNotes = [](auto, auto, auto) {};
    std::function<void(QString captureID)> closeNotes = [](auto) {};
    /// Whether the pill takes keys.
    std::function<void(bool)> setPillKey = [](auto) {};
};

}  // namespace lumbro
