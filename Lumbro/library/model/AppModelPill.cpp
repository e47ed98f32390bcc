#include "library/ContextLibrary.h"
#include "library/model/AppModel.h"

#include <algorithm>
#include <utility>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

constexpr auto choiceShown = 12s;
constexpr auto listShown = 30s;
constexpr auto openedActionShown = 20s;

template <typename... Handlers>
struct Overloaded : Handlers... {
    using Handlers::operator()...;
};

}  // namespace

void AppModel::openInboxItem(const InboxItem& item) {
    m_pill.removeFromInbox(inboxID(item));
    std::visit(
        Overloaded{
            [&](const inbox::Handoff& it) { m_pill.setMode(pill::Choose{it.captureID}, choiceShown, item); },
            [&](const inbox::Result& it) { openResult(it.captureID, it.engineID); },
            [&](const pill::Prep& it) { openPrep(it.captureID); },
            [&](const pill::Action& it) { m_pill.setMode(it, openedActionShown, item); },
            [&](const auto& it) { m_pill.setMode(it, listShown, item); },
        },
        item);
}

void AppModel::openResult(const QString& captureID, const QString& engineID) {
    if (engineID == enhanceID()) {
        openNotes(captureID, NotesTab::enhanced);
        return;
    }
    m_pill.removeFromInbox(inboxID(inbox::Result{engineID, captureID}));
    m_state.navigate(SidebarItem::capture(captureID), LibraryTab::handoffs);
    m_pill.rest();
}

void AppModel::openNotes(const QString& captureID, std::optional<NotesTab> tab) {
    const QString enhance = enhanceID();
    if (!tab) {
        const auto record = m_library.record(captureID);
        const bool enhanced = record && m_library.handoffs(*record).contains(enhance);
        tab = enhanced ? NotesTab::enhanced : NotesTab::mine;
    }
    m_ports.showNotes(captureID, *tab, true);
    m_pill.removeFromInbox(inboxID(inbox::Result{enhance, captureID}));
    if (m_pill.shows<pill::Done>()) {
        m_pill.rest();
    }
}

void AppModel::openPrep(const QString& captureID) {
    m_pill.removeFromInbox(inboxID(pill::Prep{captureID, {}, {}}));
    m_state.navigate(SidebarItem::capture(captureID), LibraryTab::handoffs);
    m_pill.rest();
}

void AppModel::openRun(const QString& runID) {
    m_pill.removeFromInbox(inboxID(pill::Action{runID}));
    m_state.setOpenRun(runID);
    openLibrary();
}

void AppModel::openRunResult(const QString& runID) {
    m_pill.removeFromInbox(inboxID(pill::Action{runID}));
    m_ports.openActionResult(runID);
    m_pill.rest();
}

void AppModel::openPromises() {
    m_pill.removeFromInbox(inboxID(pill::Promises{}));
    m_pill.rest();
    m_state.navigate(SidebarItem{SidebarItem::Kind::promises, {}});
}

void AppModel::openLibrary() {
    m_state.open();
    m_pill.rest();
}

void AppModel::dismissPill() {
    m_ports.setPillKey(false);
    m_pill.rest();
}

void AppModel::offerCapture(const QString& app) {
    if (!m_captures.isRecording() && m_pill.shows<pill::Idle>()) {
        m_pill.setMode(pill::OfferCapture{app}, 15s);
    }
}

void AppModel::callEnded() {
    if (m_captures.isRecording() && m_pill.shows<pill::Recording>()) {
        m_pill.setMode(pill::CallEnded{}, 20s);
    }
}

void AppModel::presentMeeting(const MeetingOffer& offer) {
    std::optional<InboxItem> item;
    if (offer.briefID) {
        item = pill::Prep{*offer.briefID, offer.event.title, offer.event.start};
    }
    present(pill::Meeting{offer}, 45s, item);
}

void AppModel::presentIdeas(const QList<DailyIdea>& ideas) {
    present(pill::Ideas{ideas}, listShown, pill::Ideas{ideas});
}

void AppModel::presentPromises(const QStringList& promises) {
    if (!promises.isEmpty()) {
        present(pill::Promises{promises}, listShown, pill::Promises{promises});
    }
}

void AppModel::actionFinished(const QString& runID) {
    present(pill::Action{runID}, 10s, pill::Action{runID});
}

void AppModel::joinMeeting(const MeetingOffer& offer) {
    if (offer.briefID) {
        m_pill.removeFromInbox(inboxID(pill::Prep{*offer.briefID, {}, {}}));
    }
    if (offer.event.link) {
        m_ports.openLink(*offer.event.link);
    }
    m_pill.rest();
    if (!m_captures.isRecording()) {
        runDetached(m_captures.startCapture(CaptureKind::meeting, CaptureIntent::meeting, offer.event,
                                            NoteSurface::beside));
    }
}

void AppModel::completePromise(const QString& promise, const QStringList& list) {
    m_ports.completePromise(promise);
    QStringList remaining = list;
    remaining.removeAll(promise);
    showRemaining(remaining);
    if (remaining.isEmpty()) {
        m_pill.say(u"Nice. Nothing else due."_s);
    }
}

void AppModel::completeLater(const QString& promise, const QStringList& list) {
    QStringList remaining = list;
    remaining.removeAll(promise);
    showRemaining(remaining);
}

void AppModel::commandStarted(const QString& app) {
    m_ports.setPillKey(false);
    m_pill.say(u"Working in %1. Lumbro will tell you when it's done."_s.arg(app));
}

void AppModel::commandDone(const AskAnswer& answer) {
    m_ports.setPillKey(false);
    m_pill.setMode(pill::Answer{answer}, 8s);
}

void AppModel::makeContent(const AskAnswer& answer) {
    const QStringList captures = answer.captureIDs();
    const QList<Engine>& engines = m_library.engines();
    const auto content = std::ranges::find(engines, u"content"_s, &Engine::id);
    if (captures.isEmpty() || content == engines.end()) {
        return;
    }
    m_pill.removeFromInbox(inboxID(pill::Answer{answer}));
    m_ports.setPillKey(false);
    m_runs.handOff(*content, captures.first(), u"%1 — %2"_s.arg(answer.question, answer.text));
}

void AppModel::present(PillMode mode, std::chrono::seconds collapseAfter,
                       const std::optional<InboxItem>& item) {
    const bool free = !m_captures.isRecording() && (m_pill.shows<pill::Idle>() || m_pill.shows<pill::Home>());
    if (free) {
        m_pill.setMode(std::move(mode), collapseAfter, item);
    } else if (item) {
        m_pill.addToInbox(*item);
    }
}

void AppModel::showRemaining(const QStringList& promises) {
    m_pill.removeFromInbox(inboxID(pill::Promises{}));
    if (promises.isEmpty()) {
        m_pill.rest();
    } else {
        m_pill.setMode(pill::Promises{promises}, listShown, pill::Promises{promises});
    }
}

}  // namespace lumbro
