#include "library/model/AskFlow.h"

#include "LumbroCore/Text.h"
#include "library/ContextLibrary.h"
#include "library/model/EngineRuns.h"
#include "library/model/LibraryState.h"
#include "library/model/Pill.h"

#include <QPointer>

#include <chrono>
#include <utility>

namespace lumbro {

using namespace std::chrono_literals;

namespace {

constexpr auto answerShown = 30s;

}  // namespace

AskFlow::AskFlow(Services services) : m_services(std::move(services)) {}

void AskFlow::setAskDraft(const QString& text) {
    if (std::exchange(m_askDraft, text) != text) {
        Q_EMIT askDraftChanged();
    }
}

void AskFlow::openHome() {
    setAskDraft({});
    setAskScopeID({});
    m_services.pill.setMode(pill::Home{});
    m_services.ports.setPillKey(true);
}

void AskFlow::openAsk() {
    if (!m_services.pill.shows<pill::Ask>()) {
        openField();
        m_services.ports.startAskDictation();
        return;
    }
    const AskDictationPhase phase = m_services.ports.askDictationPhase();
    if (phase == AskDictationPhase::listening && !trimmedBlanks(m_askDraft).isEmpty()) {
        m_services.ports.finishAskDictation();
    } else if (phase != AskDictationPhase::finishing) {
        closeAsk();
    }
}

void AskFlow::openAskAbout(const QString& captureID) {
    openField();
    setAskScopeID(captureID);
}

void AskFlow::closeAsk() {
    ++m_question;
    if (m_services.pill.shows<pill::Asking>() && !m_askThreadID.isEmpty()) {
        m_services.ports.cancelAsk(m_askThreadID);
    }
    setAskThreadID({});
    setAskScopeID({});
    m_services.ports.stopAskDictation();
    m_services.ports.setPillKey(false);
    m_services.pill.rest();
}

void AskFlow::submitAsk() {
    m_services.ports.stopAskDictation();
    AskCall call;
    call.question = m_askDraft.trimmed();
    if (call.question.isEmpty()) {
        return;
    }
    if (!m_askScopeID.isEmpty()) {
        call.about = m_services.library.record(m_askScopeID);
    }
    if (call.about) {
        call.scope = AskScope::capture(call.about->id());
    }
    setAskDraft({});
    setAskScopeID({});
    askInPill(std::move(call));
}

void AskFlow::runEngineInPill(const Engine& engine, const QString& captureID) {
    if (engine.result.kind == EngineResult::Kind::handoff) {
        m_services.runs.handOff(engine, captureID);
        return;
    }
    AskCall call;
    call.question = engine.name;
    call.engine = engine;
    call.scope = AskScope::capture(captureID);
    askInPill(std::move(call));
}

void AskFlow::runEngineAndShow(const Engine& engine, const AskScope& scope) {
    if (engine.result.kind == EngineResult::Kind::handoff && scope.kind == AskScope::Kind::capture) {
        m_services.runs.handOff(engine, scope.id);
        m_services.state.navigate(SidebarItem::capture(scope.id), LibraryTab::handoffs);
        return;
    }
    AskCall call;
    call.question = engine.name;
    call.engine = engine;
    call.scope = scope;
    m_services.state.setAskThread(m_services.ports.ask(std::move(call)));
    m_services.state.navigate(SidebarItem{SidebarItem::Kind::ask, {}});
}

void AskFlow::openField() {
    setAskDraft({});
    setAskScopeID({});
    m_services.pill.setMode(pill::Ask{});
    m_services.ports.setPillKey(true);
}

void AskFlow::askInPill(AskCall call) {
    const int question = ++m_question;
    const QPointer<AskFlow> self(this);
    call.live = m_services.session();
    call.onAnswer = [self, question](const AskAnswer& answer) {
        if (self) {
            self->showAnswer(question, answer);
        }
    };
    call.onError = [self, question](const Failure& failure) {
        if (self) {
            self->showError(question, failure);
        }
    };
    m_services.pill.setMode(pill::Asking{call.question});
    setAskThreadID(m_services.ports.ask(std::move(call)));
}

void AskFlow::showAnswer(int question, const AskAnswer& answer) {
    if (question == m_question && m_services.pill.shows<pill::Asking>()) {
        m_services.pill.setMode(pill::Answer{answer}, answerShown, pill::Answer{answer});
    }
}

void AskFlow::showError(int question, const Failure& failure) {
    if (question == m_question) {
        m_services.ports.setPillKey(false);
        m_services.pill.sayError(failure.message);
    }
}

void AskFlow::setAskScopeID(const QString& id) {
    if (std::exchange(m_askScopeID, id) != id) {
        Q_EMIT askScopeIDChanged();
    }
}

void AskFlow::setAskThreadID(const QString& id) {
    if (std::exchange(m_askThreadID, id) != id) {
        Q_EMIT askThreadIDChanged();
    }
}

}  // namespace lumbro
