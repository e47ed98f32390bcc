#include "tests/cli/CommandLine.h"
#include "tests/support/Wait.h"

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::test;

namespace {

const QString briefID = u"2026-03-02-1000-prep"_s;

/// A calendar with two meetings; now is Monday, 2 March 2026, 9:30 in UTC.
class MeetingCommands : public ::testing::Test {
  protected:
    MeetingCommands() {
        line.set(u"TZ"_s, u"UTC"_s);
        line.set(u"LUMBRO_NOW"_s, u"2026-03-02T09:30:00"_s);
        line.set(u"FAKE_AGENT_REPLY"_s, u"# Brief\n\nAnn likes tea."_s);
    }

    void put(const QByteArray& id, const QByteArray& title, const QByteArray& start,
             const QByteArray& more) const {
        line.home().write(u".calendars/office/%1.ics"_s.arg(QString::fromUtf8(id)),
                          "BEGIN:VCALENDAR\nVERSION:2.0\nPRODID:-//t//t//EN\nBEGIN:VEVENT\nUID:" + id +
                              "\nDTSTAMP:20260301T000000Z\nDTSTART:" + start + "\nDURATION:PT30M\nSUMMARY:" +
                              title + "\n" + more + "END:VEVENT\nEND:VCALENDAR\n");
    }
    void fill() const {
        put("sync", "Weekly sync", "20260302T100000Z",
            "ATTENDEE;CN=Ann Lee:mailto:ann@acme.com\nLOCATION:https://zoom.us/j/1\n");
        put("focus", "Focus", "20260303T080000Z", "");
    }

    CommandLine line;
};

}  // namespace

TEST_F(MeetingCommands, sayWhatToDoWithoutACalendarOrAnAgent) {
    EXPECT_EQ(line.run({u"agenda"_s, u"--json"_s}).output, u"[]\n"_s);
    EXPECT_TRUE(line.run({u"agenda"_s}).errors.contains(u"settings set calendarFolder"));
    EXPECT_EQ(line.run({u"prep"_s}).status, 1);
    EXPECT_FALSE(line.home().has(u".calendars"_s)) << "looking makes nothing";
    fill();
    const Finished missing = line.run({u"prep"_s});
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(missing.errors.contains(u"Claude Code isn't installed")) << qPrintable(missing.errors);
    EXPECT_EQ(line.run({u"captures"_s, u"--json"_s}).output, u"[]\n"_s) << "no brief, no capture";
    EXPECT_TRUE(line.run({u"prep"_s, u"dinner"_s}).errors.contains(u"no meeting \"dinner\""));
    EXPECT_EQ(line.run({u"prep"_s, u"--yes"_s, u"--json"_s}).status, 2);
}

TEST_F(MeetingCommands, writeABriefOnceAndListIt) {
    fill();
    line.installAgent();
    const QJsonObject brief = line.run({u"prep"_s, u"--json"_s}).object();
    EXPECT_EQ(brief, (QJsonObject{{u"capture"_s, briefID},
                                  {u"title"_s, u"Weekly sync"_s},
                                  {u"start"_s, u"2026-03-02T10:00:00Z"_s},
                                  {u"text"_s, u"# Brief\n\nAnn likes tea."_s}}));
    const QJsonArray agenda = line.run({u"agenda"_s, u"--json"_s}).array();
    ASSERT_EQ(agenda.size(), 2);
    EXPECT_EQ(agenda.at(0).toObject(),
              (QJsonObject{{u"id"_s, u"sync"_s},
                           {u"key"_s, u"sync@1772445600"_s},
                           {u"title"_s, u"Weekly sync"_s},
                           {u"start"_s, u"2026-03-02T10:00:00Z"_s},
                           {u"end"_s, u"2026-03-02T10:30:00Z"_s},
                           {u"attendees"_s, QJsonArray{QJsonObject{{u"name"_s, u"Ann Lee"_s},
                                                                   {u"email"_s, u"ann@acme.com"_s}}}},
                           {u"link"_s, u"https://zoom.us/j/1"_s},
                           {u"app"_s, u"Zoom"_s},
                           {u"brief"_s, briefID}}));
    EXPECT_EQ(agenda.at(1).toObject().value(u"attendees"_s), QJsonArray());
    line.set(u"FAKE_AGENT_REPLY"_s, u"# Newer"_s);
    const Finished there = line.run({u"prep"_s, u"sync@1772445600"_s});
    EXPECT_TRUE(there.output.contains(u"Ann likes tea.")) << qPrintable(there.output + there.errors);
    EXPECT_TRUE(there.errors.contains(u"--again"));
    EXPECT_FALSE(there.errors.contains(u"Join here")) << "nobody was asked";
    EXPECT_EQ(line.run({u"prep"_s, u"weekly"_s, u"--again"_s, u"--json"_s}).object().value(u"text"_s),
              u"# Newer"_s);
    EXPECT_EQ(line.run({u"captures"_s, u"--json"_s}).array().size(), 1);
    EXPECT_TRUE(line.run({u"prep"_s, u"--yes"_s}).errors.contains(u"from 10 minutes before its start"));
    EXPECT_TRUE(line.run({u"agenda"_s}).output.contains(u"in 30 min"));
    EXPECT_EQ(line.run({u"show"_s, u"last"_s, u"--json"_s}).object().value(u"id"_s), briefID);
    line.addCapture(u"2026-03-02-0814-meeting"_s, "Weekly", "2026-03-02T08:14:00Z");
    EXPECT_EQ(line.run({u"show"_s, u"last"_s, u"--json"_s}).object().value(u"id"_s),
              u"2026-03-02-0814-meeting"_s)
        << "the brief stands before it in time";
}

TEST_F(MeetingCommands, sayThatTheMeetingWasCalledOffMeanwhile) {
    fill();
    line.installAgent();
    const QString gate = line.home().path(u"gate"_s);
    line.set(u"FAKE_AGENT_GATE"_s, gate);
    QProcess process;
    process.setProcessEnvironment(line.environment());
    process.start(CommandLine::program(), {u"prep"_s, u"weekly"_s});
    ASSERT_TRUE(eventually([this] { return line.home().has(u"agent.log"_s); }));
    put("sync", "Weekly sync", "20260302T100000Z", "STATUS:CANCELLED\n");
    line.home().write(u"gate"_s, "");
    process.waitForFinished(-1);
    EXPECT_EQ(process.exitCode(), 0);
    EXPECT_TRUE(process.readAllStandardOutput().contains("Ann likes tea."));
    EXPECT_TRUE(process.readAllStandardError().contains("called off meanwhile"));
}

TEST_F(MeetingCommands, remindOfWhatIsDueAndFindTheDaysIdeas) {
    EXPECT_EQ(line.run({u"remind"_s}).errors, u"Nothing due. You're all caught up.\n"_s);
    line.home().write(u"Quillet/memory/promises.md"_s,
                      "# Promises\n\n- [ ] soon · Me → Bo · due 2026-03-04 · 2026-03-02 ^p-aaaaaa\n"
                      "- [ ] late · Me → Ann · due 2026-03-01 · 2026-02-20 ^p-bbbbbb\n");
    EXPECT_EQ(line.run({u"remind"_s, u"--json"_s}).array(), (QJsonArray{u"p-bbbbbb"_s, u"p-aaaaaa"_s}));
    const QString told = line.run({u"remind"_s}).output;
    EXPECT_TRUE(told.contains(u"late") && told.contains(u"1 day late")) << qPrintable(told);
    const QString list = line.home().path(u"Quillet/memory/promises.md"_s);
    QFile::rename(list, list + u".away"_s);
    QDir().mkpath(list);
    const Finished unread = line.run({u"remind"_s});
    EXPECT_EQ(unread.status, 1);
    EXPECT_TRUE(unread.errors.contains(u"promises.md can't be read"_s)) << qPrintable(unread.errors);
    EXPECT_FALSE(unread.errors.contains(u"Nothing due"_s));
    QDir().rmdir(list);
    for (const auto& [text, status] : {std::pair("\xff\xfe-\xe9\x80", 1),
                                       std::pair("- [ ] caf\xe9 · Me → Bo · 2026-03-02 ^p-aaaaaa\n", 0)}) {
        line.home().write(u"Quillet/memory/promises.md"_s, text);
        const Finished odd = line.run({u"remind"_s});
        EXPECT_EQ(odd.status, status) << qPrintable(odd.errors);
        EXPECT_TRUE(odd.errors.contains(u"UTF-8"_s)) << qPrintable(odd.errors);
        EXPECT_FALSE(odd.errors.contains(u"caught up"_s)) << qPrintable(odd.errors);
    }
    QFile::remove(list);
    QFile::rename(list + u".away"_s, list);

    line.installAgent();
    EXPECT_TRUE(line.run({u"ideas"_s, u"today"_s}).errors.endsWith(u"No notes from today yet.\n"));
    line.addCapture(u"2026-03-02-0814-meeting"_s, "Weekly", "2026-03-02T08:14:00Z");
    line.set(u"FAKE_AGENT_REPLY"_s, uR"({"ideas":[{"hook":"Why tea","angle":"It works"}]})"_s);
    EXPECT_EQ(line.run({u"ideas"_s, u"today"_s, u"--json"_s}).array(),
              (QJsonArray{QJsonObject{{u"hook"_s, u"Why tea"_s},
                                      {u"angle"_s, u"It works"_s},
                                      {u"capture"_s, u"2026-03-02-0814-meeting"_s}}}));
    EXPECT_EQ(line.run({u"ideas"_s, u"--json"_s}).array().size(), 1) << "it has joined the list";
    EXPECT_TRUE(
        line.run({u"ideas"_s, u"today"_s}).errors.endsWith(u"No strong content ideas in today's notes.\n"));
}
