#pragma once

#include "LumbroCore/Settings.h"
#include "library/ContextLibrary.h"
#include "memory/MemoryStore.h"
#include "tests/model/ScriptedAgent.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"

#include <gtest/gtest.h>

namespace lumbro::test {

/// What a pass by the clock works with: a library with one engine, its memory, and an agent that the test
/// plays; now is Monday, 2 March 2026, 9:14:05.
class PassTest : public ::testing::Test {
  protected:
    PassTest(const QString& engine, const QByteArray& fields, const QByteArray& prompt) {
        scratch.write(u"library/engines/%1.md"_s.arg(engine),
                      "---\nhidden: true\nversion: 99\n" + fields + "---\n" + prompt + '\n');
        library.open();
        memory.bootstrap();
    }

    /// A capture that ended after ten minutes.
    CaptureRecord capture(const QDateTime& start, CaptureKind kind = CaptureKind::meeting,
                          const QString& title = u"Weekly"_s, const QStringList& attendees = {}) {
        auto record = library.createCapture(kind, title, {}, start);
        record.meta.endedAt = start.addSecs(600);
        record.meta.attendees = attendees;
        EXPECT_TRUE(library.save(record));
        return record;
    }

    ScratchFolder scratch;
    TestClock clock;
    Settings settings{scratch.path(u"settings.ini"_s)};
    ContextLibrary library{scratch.path(u"library"_s), clock, {}, scratch.path(u"built-in"_s)};
    MemoryStore memory{library, clock, settings};
    ScriptedAgent agent;
};

}  // namespace lumbro::test
