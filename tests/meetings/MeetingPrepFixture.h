#pragma once

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "meetings/MeetingPrep.h"
#include "tests/meetings/FakeCalendar.h"
#include "tests/memory/PassFixture.h"

namespace lumbro::test {

/// Meetings of a calendar that the test plays, and what is offered of them.
class MeetingPrepTest : public PassTest {
  protected:
    MeetingPrepTest() : PassTest(u"prep"_s, "name: Prep\nmodel: sonnet\n", "Brief me.") {}

    QDateTime in(int seconds) const { return clock.now().addSecs(seconds); }
    MeetingPrep::Ports ports() { return portsWith(library); }
    MeetingPrep::Ports portsWith(ContextLibrary& captures) {
        return {.calendar = calendar,
                .clock = clock,
                .settings = settings,
                .library = captures,
                .memory = memory,
                .agent = agent,
                .present = [this](const MeetingOffer& offer) { offers.append(offer); },
                .isPresented =
                    [this](const PrepEvent& event) {
                        return !offers.isEmpty() && isOnShow && offers.last().event.key() == event.key();
                    }};
    }
    void answer(const Result<QString>& text = u"# Brief"_s) { agent.calls.back()->answer(text); }
    QStringList offered() const {
        QStringList told;
        for (const MeetingOffer& offer : offers) {
            told += offer.event.title + (offer.briefID ? u" with brief"_s : QString());
        }
        return told;
    }
    QList<CaptureRecord> briefs() const {
        QList<CaptureRecord> found = library.captures();
        found.removeIf([](const CaptureRecord& record) { return record.meta.kind != CaptureKind::prep; });
        return found;
    }
    static qsizetype logged(const QString& text) {
        AppLog::flush();
        return readTextFile(AppLog::url()).value_or(QString()).count(text);
    }

    FakeCalendar calendar;
    QList<MeetingOffer> offers;
    bool isOnShow = true;
    MeetingPrep prep{ports()};
};

}  // namespace lumbro::test
