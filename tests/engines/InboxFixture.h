#pragma once

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Literals.h"
#include "engines/EngineInbox.h"
#include "library/ContextLibrary.h"
#include "tests/model/ScriptedAgent.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>

namespace lumbro::test {

using namespace std::chrono_literals;

/// A library with an engine that watches the folder "drop", on a test clock, with an agent that a test plays.
class EngineInboxTest : public ::testing::Test {
  protected:
    EngineInboxTest() {
        QDir().mkpath(scratch.path(u"drop"_s));
        addEngine(u"sorter"_s, u"drop"_s, "name: Sorter\nmodel: opus\n");
        library.open();
        inbox = makeInbox();
    }

    void addEngine(const QString& id, const QString& folder, const QByteArray& fields) const {
        scratch.write(u"library/engines/"_s + id + u".md"_s,
                      "---\n" + fields + "watch: " + scratch.path(folder).toUtf8() + "\n---\nSort it.\n");
    }
    std::unique_ptr<EngineInbox> makeInbox() {
        EngineInbox::Ports ports{.library = library, .agent = agent, .clock = clock};
        ports.isRecording = [this] { return recording; };
        ports.tell = [this](const QString& text, bool isError) {
            told += (isError ? u"! "_s : QString()) + text;
        };
        return std::make_unique<EngineInbox>(std::move(ports));
    }
    /// Puts a file into the watched folder that was written `age` ago.
    void drop(const QString& name, const QByteArray& bytes, std::chrono::seconds age = 10s,
              const QString& folder = u"drop"_s) const {
        const QString path = folder + u'/' + name;
        scratch.write(path, bytes);
        QFile file(scratch.path(path));
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(file.setFileTime(clock.now().addSecs(-age.count()), QFileDevice::FileModificationTime));
    }
    /// Scans, and waits until the agent has been asked for the n-th time.
    std::shared_ptr<ScriptedAgent::Call> asked(size_t count = 1) {
        inbox->scan();
        EXPECT_TRUE(eventually([&] { return agent.calls.size() >= count; }));
        return agent.calls.size() == count ? agent.calls.back() : nullptr;
    }
    /// Scans, and waits until all that began has come to rest without the agent.
    void scanToRest() {
        inbox->scan();
        EXPECT_TRUE(eventually([&] { return inbox->running().isEmpty(); }));
    }
    QList<InboxRun> runs(const QString& engine = u"sorter"_s) const {
        return InboxFolder(library.root(), engine).runs();
    }
    QByteArray record(const QString& file) const { return scratch.read(u"library/inbox/sorter/"_s + file); }
    static QString log() {
        AppLog::flush();
        return QString::fromUtf8(readFile(AppLog::url()).value_or(QByteArray()));
    }
    bool wasLogged(const QString& line) const { return log().contains(u"[inbox] "_s + line + u'\n'); }

    ScratchFolder scratch;
    TestClock clock;
    ScriptedAgent agent;
    ContextLibrary library{scratch.path(u"library"_s), clock, {}, scratch.path(u"built-ins"_s)};
    bool recording = false;
    QStringList told;
    std::unique_ptr<EngineInbox> inbox;
};

}  // namespace lumbro::test
