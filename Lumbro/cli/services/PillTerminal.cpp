#include "cli/services/PillTerminal.h"

#include "actions/ActionRunner.h"
#include "app/Services.h"
#include "cli/AgendaText.h"
#include "cli/Confirm.h"
#include "cli/RunText.h"
#include "cli/Table.h"
#include "library/model/AppModel.h"
#include "meetings/formats/MeetingLink.h"
#include "memory/MemoryStore.h"

#include <QPointer>

#include <algorithm>
#include <utility>
#include <variant>

namespace lumbro::cli {

namespace {

template <typename... Handlers>
struct Overloaded : Handlers... {
    using Handlers::operator()...;
};

}  // namespace

PillTerminal::PillTerminal(Output& output, Services& services) : m_output(output), m_services(services) {
    Pill& pill = m_services.model().pill();
    connect(&pill, &Pill::modeChanged, this, [this, &pill] { show(pill.mode()); });
    show(pill.mode());
    // What an earlier process left behind.
    for (const InboxItem& item : pill.inbox()) {
        if (const auto* run = std::get_if<pill::Action>(&item)) {
            tellRun(run->runID);
        }
    }
}

void PillTerminal::show(const PillMode& mode) {
    std::visit(Overloaded{
                   [this](const pill::Message& it) {
                       m_output.say(m_output.styledError(Output::clean(it.text),
                                                         it.isError ? Look::bad : Look::plain));
                   },
                   [this](const pill::Meeting& it) { offerMeeting(it.offer); },
                   [this](const pill::OfferCapture& it) { offerNotes(it.app); },
                   [this](const pill::CallEnded&) {
                       m_output.say(u"The call is over; Ctrl-C finishes the recording and ends Lumbro."_s);
                   },
                   [this](const pill::Promises& it) { tellPromises(it.promises); },
                   [this](const pill::Ideas& it) {
                       m_output.say(u"Ideas from today; `lumbro ideas` lists them all:"_s);
                       for (const DailyIdea& idea : it.ideas) {
                           m_output.say(u"- "_s + Output::clean(idea.hook));
                       }
                   },
                   [this](const pill::Action& it) { tellRun(it.runID); },
                   [](const auto&) {},
               },
               mode);
}

void PillTerminal::tellRun(const QString& runID) {
    const auto run = m_services.actionRunner().run(runID);
    if (!run) {
        return;
    }
    const QString problem = runProblem(*run);
    m_output.say(Output::clean(run->title() + (problem.isEmpty() ? QString() : u": "_s + problem)));
    m_output.say(m_output.styledError(u"lumbro runs show "_s + Output::clean(runID), Look::dim));
}

void PillTerminal::offerMeeting(const MeetingOffer& offer) {
    const PrepEvent& event = offer.event;
    m_output.say(m_output.styledError(Output::clean(event.title), Look::bold) + u": "_s +
                 Output::clean(meetingLine(event, m_services.clock().now())));
    if (offer.briefID) {
        m_output.say(u"The brief: lumbro show %1 --handoff prep"_s.arg(*offer.briefID));
    }
    const QString app = event.link ? meetingLink::app(event.link->toString()).value_or(QString()) : QString();
    runDetached(ask(u"Join \"%1\"%2 and record it?"_s.arg(event.title, app.isEmpty() ? app : u" in "_s + app),
                    [this, offer] { joinMeeting(offer); }));
}

void PillTerminal::joinMeeting(const MeetingOffer& offer) {
    AppModel& model = m_services.model();
    if (m_services.clock().now() > offer.event.end || model.captures().isRecording()) {
        m_output.say(u"It is too late for that."_s);
        return;
    }
    if (offer.event.link) {
        m_output.say(u"Join here: "_s + Output::clean(offer.event.link->toString(QUrl::FullyEncoded)));
    }
    m_output.say(u"Recording. Ctrl-C finishes the recording and ends Lumbro."_s);
    model.joinMeeting(offer);
}

void PillTerminal::offerNotes(const QString& app) {
    runDetached(ask(u"A call has begun in %1. Take notes?"_s.arg(app), [this] {
        CaptureFlow& captures = m_services.model().captures();
        if (!captures.isRecording()) {
            m_output.say(u"Recording. Ctrl-C finishes the recording and ends Lumbro."_s);
            captures.takeNotes(NoteSurface::beside);
        }
    }));
}

void PillTerminal::tellPromises(const QStringList& ids) {
    const QDate today = m_services.clock().now().date();
    m_output.say(u"You promised; `lumbro promises done ID` ticks one:"_s);
    for (const PromiseItem& promise : m_services.memory().promises()) {
        if (ids.contains(promise.id)) {
            m_output.say(u"- %1  %2 (%3)"_s.arg(promise.id, Output::clean(promise.text),
                                                Output::clean(promise.dueText(today))));
        }
    }
}

Task<> PillTerminal::ask(QString question, std::function<void()> onYes) {
    if (m_isAsking) {
        co_return;
    }
    const QPointer<PillTerminal> alive(this);
    m_isAsking = true;
    const Answer answer = co_await askOnTerminal(question);
    if (!alive) {
        co_return;
    }
    m_isAsking = false;
    if (answer == Answer::yes) {
        onYes();
    }
}

}  // namespace lumbro::cli
