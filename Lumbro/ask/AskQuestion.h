#pragma once

#include "LumbroCore/Failure.h"
#include "LumbroCore/Task.h"
#include "ask/formats/AskAnswer.h"
#include "ask/formats/AskInput.h"
#include "ask/formats/AskScope.h"
#include "ask/formats/AskTarget.h"
#include "engines/formats/Engine.h"
#include "library/formats/CaptureMeta.h"

#include <QList>
#include <QString>

#include <functional>
#include <optional>

namespace lumbro {

/// What a question knows of the account's applications and the calendar. Every default is their absence.
struct AskPorts {
    /// Starts a check of the connectors when one is due; its result reaches later questions.
    std::function<void()> refreshConnectors = [] {};
    /// Those that answers can be sent to, in their order.
    std::function<QList<AskConnector>()> connectors = [] { return QList<AskConnector>(); };
    /// The user has said no to the calendar, or may not say yes.
    std::function<bool()> calendarIsDenied = [] { return false; };
    /// Today's date and the free times. Empty: the date alone.
    std::function<Task<QString>()> calendarContext;
    /// At most `limit` meetings to come; none without access to the calendar. Empty: none.
    std::function<Task<QList<AskMeeting>>(int limit)> nextMeetings;
};

/// One question.
struct AskQuestion {
    QString question;
    /// The thread to go on with. Empty or unknown: a new one.
    QString thread;
    std::optional<AskLiveCall> live;
    /// The capture that a new thread is about, before `scope`.
    std::optional<CaptureRecord> about;
    AskScope scope;
    std::optional<Engine> engine;
    /// One of these is called on the main thread, unless the question is cancelled. May be empty.
    std::function<void(const AskAnswer&)> onAnswer;
    std::function<void(const Failure&)> onError;
    /// The answer's words as they come, without the lines of sources and action; `isNew` tells that what was
    /// told before was not the answer. The end of the answer may be missing. Not every agent can. May be
    /// empty.
    std::function<void(const QString& piece, bool isNew)> onText;
};

}  // namespace lumbro
