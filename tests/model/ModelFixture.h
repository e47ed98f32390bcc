#pragma once

#include "LumbroCore/Settings.h"
#include "library/ContextLibrary.h"
#include "library/model/AppModel.h"
#include "tests/model/FakeSession.h"
#include "tests/model/ScriptedAgent.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <QPointer>

#include <memory>
#include <vector>

#include <gtest/gtest.h>

namespace lumbro::test {

/// A model on a library of its own, a test clock, a scripted agent and fake recordings.
class ModelTest : public testing::Test {
  protected:
    void SetUp() override {
        writeEngine("notes", "name: Enhance\nauto: true\norder: 1");
        writeEngine("email", "name: Email\nauto: true\norder: 2");
        writeEngine("content", "name: Content\norder: 3");
        writeEngine("chat", "name: Chat\nresult: chat\norder: 4");
        library = std::make_unique<ContextLibrary>(scratch.path("library"), clock, ContextLibrary::Hooks{},
                                                   scratch.path("built-in"));
        library->open();
        model = std::make_unique<AppModel>(*library, settings, clock, agent, ports());
    }

    /// What differs from the absence of every service; a test may put more in.
    virtual void prepare(AppModel::Ports&) {}

    AppModel::Ports ports() {
        AppModel::Ports made;
        made.makeSession = [this](CaptureRecord record, bool system) {
            auto session = std::make_unique<FakeSession>(std::move(record), system, script, *library, clock);
            lastSession = session.get();
            return session;
        };
        made.dictationBusy = [this] { return dictationBusy; };
        made.pillIsHovering = [this] { return hovering; };
        made.callInProgress = [this] { return inCall; };
        made.eventNow = [this] { return event; };
        made.ask = [this](AskCall call) {
            asked.push_back(std::move(call));
            return QStringLiteral("thread-%1").arg(asked.size());
        };
        made.cancelAsk = [this](const QString& thread) { log.append("cancel " + thread); };
        made.showNotes = [this](const QString& id, NotesTab tab, bool) {
            log.append((tab == NotesTab::mine ? "notes mine " : "notes enhanced ") + id);
        };
        made.closeNotes = [this](const QString& id) { log.append("close " + id); };
        made.completePromise = [this](const QString& text) { log.append("done " + text); };
        made.openLink = [this](const QUrl& url) { log.append("open " + url.toString()); };
        prepare(made);
        return made;
    }

    void writeEngine(const QByteArray& id, const QByteArray& fields) const {
        scratch.write("library/engines/" + QString::fromUtf8(id) + ".md",
                      "---\n" + fields + "\nversion: 99\n---\nPrompt of " + id + ".\n");
    }
    Engine engine(const QString& id) const { return library->engine(id).value(); }

    /// A finished meeting with words in it.
    CaptureRecord makeCapture(const QString& title = QStringLiteral("Weekly")) {
        CaptureRecord record = library->createCapture(CaptureKind::meeting, title, {}, clock.now());
        record.meta.endedAt = clock.now();
        library->save(record);
        const TranscriptSegments said{{QUuid::createUuid(), Speaker::me, 0, QStringLiteral("Hello there")}};
        EXPECT_TRUE(library->writeTranscript(said, record));
        return record;
    }
    CaptureRecord start(CaptureKind kind = CaptureKind::meeting,
                        CaptureIntent intent = CaptureIntent::meeting,
                        NoteSurface surface = NoteSurface::beside) {
        return wait(model->captures().startCapture(kind, intent, std::nullopt, surface)).value();
    }
    CaptureEnd stop() { return wait(model->captures().stopCapture()); }

    const PillMode& mode() const { return model->pill().mode(); }
    QStringList inbox() const {
        QStringList ids;
        for (const InboxItem& item : model->pill().inbox()) {
            ids.append(inboxID(item));
        }
        return ids;
    }
    QByteArray handoff(const CaptureRecord& record, const QString& engineID) const {
        return readFile(record.path("handoffs/" + engineID + ".md")).value_or(QByteArray());
    }
    std::vector<std::shared_ptr<ScriptedAgent::Call>> runsOf(const QString& engineName) const {
        return agent.callsFor("Run the " + engineName + " engine on the capture in stdin.");
    }
    std::vector<std::shared_ptr<ScriptedAgent::Call>> namings() const {
        return agent.callsFor("Name this note.");
    }

    ScratchFolder scratch;
    TestClock clock;
    Settings settings{scratch.path("settings.ini")};
    ScriptedAgent agent;
    SessionScript script;
    bool dictationBusy = false;
    bool hovering = false;
    bool inCall = false;
    std::optional<PrepEvent> event;
    std::vector<AskCall> asked;
    QStringList log;
    std::unique_ptr<ContextLibrary> library;
    QPointer<RecordingSession> lastSession;
    std::unique_ptr<AppModel> model;
};

}  // namespace lumbro::test
