#pragma once

#include "ask/formats/AskAnswer.h"
#include "meetings/formats/PrepEvent.h"
#include "memory/formats/DailyIdea.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <variant>

namespace lumbro {

/// What the pill can show, one value each.
namespace pill {

/// The engines to choose from for a finished capture.
struct Choose {
    QString captureID;
    bool operator==(const Choose&) const = default;
};
/// An engine at work on a capture.
struct Working {
    QString engineID;
    QString captureID;
    bool operator==(const Working&) const = default;
};
/// That engine's result is ready.
struct Done {
    QString engineID;
    QString captureID;
    bool operator==(const Done&) const = default;
};
/// One line.
struct Message {
    QString text;
    bool isError = false;
    bool operator==(const Message&) const = default;
};
/// A call has started in the named application: take notes?
struct OfferCapture {
    QString app;
    bool operator==(const OfferCapture&) const = default;
};
/// A question on its way.
struct Asking {
    QString question;
    bool operator==(const Asking&) const = default;
};
struct Answer {
    AskAnswer answer;
    bool operator==(const Answer&) const = default;
};
/// The brief for a meeting.
struct Prep {
    QString captureID;
    QString title;
    QDateTime start;
    bool operator==(const Prep&) const = default;
};
/// A meeting is about to start.
struct Meeting {
    MeetingOffer offer;
    bool operator==(const Meeting&) const = default;
};
/// The day's ideas.
struct Ideas {
    QList<DailyIdea> ideas;
    bool operator==(const Ideas&) const = default;
};
/// The promises that are due, by their text.
struct Promises {
    QStringList promises;
    bool operator==(const Promises&) const = default;
};
/// The result of an action run.
struct Action {
    QString runID;
    bool operator==(const Action&) const = default;
};
/// At rest, nothing recording.
struct Idle {
    bool operator==(const Idle&) const = default;
};
/// At rest, recording.
struct Recording {
    bool operator==(const Recording&) const = default;
};
/// The home panel.
struct Home {
    bool operator==(const Home&) const = default;
};
/// The call has ended, the recording goes on.
struct CallEnded {
    bool operator==(const CallEnded&) const = default;
};
/// The Ask field is open.
struct Ask {
    bool operator==(const Ask&) const = default;
};

}  // namespace pill

using PillMode =
    std::variant<pill::Choose, pill::Working, pill::Done, pill::Message, pill::OfferCapture, pill::Asking,
                 pill::Answer, pill::Prep, pill::Meeting, pill::Ideas, pill::Promises, pill::Action,
                 pill::Idle, pill::Recording, pill::Home, pill::CallEnded, pill::Ask>;

}  // namespace lumbro
