#pragma once

#include "ask/AskService.h"
#include "ask/formats/AskThreadFile.h"
#include "memory/MemoryStore.h"
#include "tests/library/LibraryFixture.h"
#include "tests/model/ScriptedAgent.h"

#include <QStringList>

namespace lumbro::test {

/// An answer with sources that are there and one that is not.
inline const QString reply =
    u"She wants it on Friday.\nSOURCES: captures/2026-03-01-0900-meeting/notes.md, people/dana-kim.md, x"_s;

/// A library with one capture and one person, and an agent whose answers the test gives.
struct AskServiceTest : test::LibraryTest {
    AskServiceTest() {
        put(u"2026-03-01-0900-meeting"_s, meta("meeting"));
        m_folder.write(u"memory/people/dana-kim.md"_s, "---\nname: Dana Kim\n---\n# Dana Kim\n");
        m_library.open();
        memory.bootstrap();
        service.reload();
    }
    ~AskServiceTest() override {
        // What still runs is to end with the test.
        for (const auto& each : agent.calls) {
            each->answer(fail(FailureKind::cancelled, u"the test is over"_s));
        }
    }

    QString ask(const QString& text, const QString& thread = {}) {
        AskQuestion question;
        question.question = text;
        question.thread = thread;
        return ask(question);
    }
    QString ask(AskQuestion question) {
        question.onAnswer = [this](const AskAnswer& answer) { answers << answer; };
        question.onError = [this](const Failure& failure) { failures << failure.message; };
        return service.ask(question);
    }
    /// The newest question's run.
    test::ScriptedAgent::Call& call() { return *agent.calls.back(); }
    QString file(const QString& id) const {
        return QString::fromUtf8(m_folder.read(u"asks/"_s + id + u".md"_s));
    }
    /// The thread as another process would read it.
    AskThread onDisk(const QString& id) const { return askThreadFile::read(file(id), id + u".md"_s, {}); }
    QStringList questions(const AskThread& thread) const {
        QStringList texts;
        for (const AskTurn& turn : thread.turns) {
            texts << turn.question;
        }
        return texts;
    }

    Settings settings{m_folder.path(u"settings.ini"_s)};
    MemoryStore memory{m_library, m_clock, settings};
    test::ScriptedAgent agent;
    AskService service{m_clock, settings, m_library, memory, agent};
    QList<AskAnswer> answers;
    QStringList failures;
};

}  // namespace lumbro::test
