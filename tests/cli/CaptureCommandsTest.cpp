#include "library/CaptureLock.h"
#include "tests/cli/CommandLine.h"

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::test;

namespace {

const QString older = u"2026-03-02-0914-meeting"_s;
const QString newer = u"2026-03-03-0914-meeting"_s;

class CaptureCommands : public ::testing::Test {
  protected:
    CaptureCommands() {
        line.addCapture(older, "Plan", "2026-03-02T08:14:00Z");
        line.addCapture(newer, "Review", "2026-03-03T08:14:00Z");
        line.write(
            older, u"transcript.json"_s,
            R"([{"id":"0d2f8a0e-2f0b-4f6a-9d7c-0a1b2c3d4e5f","speaker":"Me","start":1.5,"text":"Hello there"},)"
            R"({"id":"0d2f8a0e-2f0b-4f6a-9d7c-0a1b2c3d4e60","speaker":"Me","start":4,"text":"again —"},)"
            R"({"id":"0d2f8a0e-2f0b-4f6a-9d7c-0a1b2c3d4e61","speaker":"Them","start":9,"text":"Good day"}])");
        line.write(older, u"transcript.md"_s, "# Plan\n\n[00:00:01] Me: Hello there again —\n");
        line.write(older, u"notes.md"_s, "buy milk\n");
        line.write(older, u"handoffs/notes.md"_s, "## Summary\n");
        line.write(older, u"me.m4a"_s, "x");
    }

    CommandLine line;
};

}  // namespace

TEST_F(CaptureCommands, listsTheNewestFirstWithWordsAndResults) {
    const QJsonArray all = line.run({u"captures"_s, u"--json"_s}).array();
    ASSERT_EQ(all.size(), 2);
    EXPECT_EQ(all.at(0).toObject().value(u"id"_s), newer);
    const QJsonObject entry = all.at(1).toObject();
    EXPECT_EQ(entry.value(u"words"_s).toInt(), 5);
    EXPECT_EQ(entry.value(u"handoffs"_s).toArray(), QJsonArray({u"notes"_s}));
    EXPECT_EQ(entry.value(u"startedAt"_s), u"2026-03-02T08:14:00Z"_s);
    EXPECT_FALSE(entry.contains(u"memorizedAt"_s));
    EXPECT_EQ(line.run({u"captures"_s, u"--limit"_s, u"1"_s, u"--json"_s}).array().size(), 1);
    const QString text = line.run({u"captures"_s}).output;
    EXPECT_EQ(text.count(u'\n'), 3);
    EXPECT_LT(text.indexOf(newer), text.indexOf(older));
}

TEST_F(CaptureCommands, showsEverythingOfACapture) {
    const QJsonObject shown = line.run({u"show"_s, older, u"--json"_s}).object();
    const QJsonArray segments = shown.value(u"segments"_s).toArray();
    ASSERT_EQ(segments.size(), 2);
    EXPECT_EQ(
        segments.at(0).toObject(),
        (QJsonObject{{u"speaker"_s, u"Me"_s}, {u"start"_s, 1.5}, {u"text"_s, u"Hello there again —"_s}}));
    EXPECT_EQ(shown.value(u"notes"_s), u"buy milk\n"_s);
    EXPECT_EQ(shown.value(u"handoffs"_s).toObject(), (QJsonObject{{u"notes"_s, u"## Summary\n"_s}}));
    const QString folder = line.home().path(u"Quillet/captures/"_s + older);
    EXPECT_EQ(shown.value(u"folder"_s), folder);
    EXPECT_EQ(shown.value(u"audio"_s).toObject(), (QJsonObject{{u"me"_s, folder + u"/me.m4a"_s}}));

    EXPECT_EQ(line.run({u"show"_s, older, u"--transcript"_s}).output,
              u"[00:00:01] Me: Hello there again —\n[00:00:09] Them: Good day\n"_s);
    EXPECT_EQ(line.run({u"show"_s, older, u"--notes"_s}).output, u"buy milk\n"_s);
    EXPECT_EQ(line.run({u"show"_s, older, u"--handoff"_s, u"notes"_s}).output, u"## Summary\n"_s);
    EXPECT_TRUE(line.run({u"show"_s, u"last"_s}).output.startsWith(u"# Review\n"_s));
    EXPECT_TRUE(line.run({u"show"_s, u"2026-03-02"_s}).output.startsWith(u"# Plan\n"_s));
}

TEST_F(CaptureCommands, tellARunningRecordingFromOneThatWasCutOff) {
    const QByteArray meta =
        R"({"kind":"meeting","sources":["mic"],"startedAt":"2026-03-04T08:14:00Z","title":"Open"})";
    line.write(u"2026-03-04-0914-meeting"_s, u"meta.json"_s, meta);
    line.write(u"2026-03-05-0914-meeting"_s, u"meta.json"_s, meta);
    const CaptureLock lock(line.home().path(u"Quillet/captures/2026-03-05-0914-meeting"_s));
    const auto lengths = [this] {
        QStringList words;
        for (const QString& row : line.run({u"captures"_s}).output.split(u'\n').mid(1, 2)) {
            words += row.simplified().section(u' ', 2);
        }
        return words;
    };
    EXPECT_EQ(lengths(), QStringList({u"recording"_s, u"cut off"_s}));
    EXPECT_TRUE(line.run({u"show"_s, u"last"_s}).output.contains(u" · recording · "_s));
}

TEST_F(CaptureCommands, tellThatWordsMayBeMissingAndHowToGetThem) {
    EXPECT_TRUE(line.run({u"show"_s, older}).errors.isEmpty());
    line.write(older, u".transcribing"_s, "");
    const Finished shown = line.run({u"show"_s, older});
    EXPECT_EQ(shown.status, 0);
    EXPECT_TRUE(shown.errors.contains(u"Words may be missing at the end"_s)) << qPrintable(shown.errors);
    EXPECT_TRUE(shown.errors.contains(
        u"`lumbro import '%1'`"_s.arg(line.home().path(u"Quillet/captures/%1/me.m4a"_s.arg(older)))))
        << qPrintable(shown.errors);
    EXPECT_EQ(line.run({u"show"_s, older, u"--json"_s}).object().value(u"mayLackWords"_s), true);
    const CaptureLock lock(line.home().path(u"Quillet/captures/"_s + older));
    EXPECT_FALSE(line.run({u"show"_s, older, u"--json"_s}).object().contains(u"mayLackWords"_s))
        << "they are still being written";
}

TEST_F(CaptureCommands, renamesTheCaptureAndItsTranscript) {
    EXPECT_EQ(line.run({u"rename"_s, older, u" Weekly\nplan "_s}).status, 0);
    EXPECT_EQ(line.run({u"show"_s, older, u"--json"_s}).object().value(u"title"_s), u"Weekly plan"_s);
    EXPECT_TRUE(line.home()
                    .read(u"Quillet/captures/%1/transcript.md"_s.arg(older))
                    .startsWith("# Weekly plan\n\n[00:00:01] Me: Hello"));
    EXPECT_EQ(line.run({u"rename"_s, newer, u"Other"_s}).status, 0);
    EXPECT_FALSE(line.home().has(u"Quillet/captures/%1/transcript.md"_s.arg(newer)));
}

TEST_F(CaptureCommands, movesADeletedCaptureToTheTrash) {
    EXPECT_EQ(line.run({u"delete"_s, older}).status, 0);
    EXPECT_FALSE(line.home().has(u"Quillet/captures/"_s + older));
    EXPECT_TRUE(line.home().has(u".local/share/Trash/files/%1/notes.md"_s.arg(older)) ||
                line.home().has(u"Quillet/.trash/%1/notes.md"_s.arg(older)));
    EXPECT_EQ(line.run({u"captures"_s, u"--json"_s}).array().size(), 1);
}

TEST_F(CaptureCommands, readNoOtherCaptureWhereOneOrNoneIsMeant) {
    // A look at it would be told in the log.
    line.write(u"2026-03-01-0914-meeting"_s, u"meta.json"_s, "{");
    for (const QStringList& arguments :
         {QStringList{u"engines"_s}, {u"voices"_s}, {u"delete"_s, older}, {u"rename"_s, newer, u"X"_s}}) {
        EXPECT_EQ(line.run(arguments).status, 0) << qPrintable(arguments.join(u' '));
    }
    EXPECT_FALSE(line.home().read(u"Library/Logs/Quillet/handoff.log"_s).contains("can't be read"));
}

TEST_F(CaptureCommands, tellWhatCannotBeRead) {
    const QString broken = u"2026-03-01-0914-meeting"_s;
    line.write(broken, u"meta.json"_s, "{");
    line.write(newer, u"transcript.json"_s, "[{");
    EXPECT_EQ(line.run({u"captures"_s}).errors,
              broken + u"/meta.json can't be read; the capture is left out.\n"_s);
    for (const QString& id : {broken, u"2026-03-01"_s}) {
        const Finished shown = line.run({u"show"_s, id});
        EXPECT_EQ(shown.status, 1);
        EXPECT_TRUE(shown.errors.contains(broken + u"/meta.json can't be read"_s))
            << qPrintable(shown.errors);
    }
    const Finished whole = line.run({u"show"_s, newer});
    EXPECT_EQ(whole.status, 0);
    EXPECT_TRUE(whole.errors.contains(u"transcript.json can't be read"_s)) << qPrintable(whole.errors);
    const Finished part = line.run({u"show"_s, newer, u"--transcript"_s});
    EXPECT_EQ(part.status, 1);
    EXPECT_TRUE(part.errors.contains(u"transcript.json can't be read"_s)) << qPrintable(part.errors);
    const QByteArray good = line.home().read(u"Quillet/captures/%1/meta.json"_s.arg(newer));
    line.write(u"2026-02-01-0914-meeting"_s, u"meta.json"_s, good + QByteArray(1024 * 1024, ' '));
    EXPECT_EQ(line.run({u"show"_s, u"2026-02-01-0914-meeting"_s}).status, 1);
    EXPECT_TRUE(line.run({u"captures"_s}).errors.contains(u"and 1 other can't be read"_s));
}

TEST_F(CaptureCommands, adviseNothingThatWouldOverwriteWhatCannotBeRead) {
    line.write(newer, u"notes.md"_s, "caf\xe9 noir\n");
    line.write(newer, u"handoffs/notes.md"_s, "caf\xe9 noir\n");
    const struct {
        QStringList part;
        QString says;
    } rows[] = {
        {{u"--notes"_s}, u"/notes.md can't be read"_s},
        {{u"--handoff"_s, u"notes"_s}, u"/handoffs/notes.md can't be read"_s},
        {{u"--handoff"_s, u"nope"_s}, u"There is no engine \"nope\""_s},
    };
    for (const auto& row : rows) {
        const Finished shown = line.run(QStringList{u"show"_s, newer} + row.part);
        EXPECT_EQ(shown.status, 1);
        EXPECT_TRUE(shown.errors.contains(row.says)) << qPrintable(shown.errors);
        EXPECT_FALSE(shown.errors.contains(u"engine-run"_s)) << qPrintable(shown.errors);
    }
}

TEST_F(CaptureCommands, worksInAnEmptyHome) {
    const CommandLine empty;
    EXPECT_EQ(empty.run({u"captures"_s, u"--json"_s}).output, u"[]\n"_s);
    const Finished people = empty.run({u"captures"_s});
    EXPECT_EQ(people.status, 0);
    EXPECT_TRUE(people.output.isEmpty());
    EXPECT_TRUE(people.errors.contains(u"No captures yet"_s));
    EXPECT_FALSE(empty.home().has(u"Quillet"_s));
}
