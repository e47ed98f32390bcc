#include "CommandLine.h"
#include "cli/SearchOutput.h"
#include "library/formats/TranscriptSegment.h"

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::test;

namespace {

void fill(const CommandLine& line) {
    line.addCapture(u"2026-03-02-0914-meeting"_s, "Weekly sync", "2026-03-02T08:14:00Z");
    line.write(u"2026-03-02-0914-meeting"_s, u"notes.md"_s, "Ask about Pricing\n");
    line.write(u"2026-03-02-0914-meeting"_s, u"transcript.json"_s,
               transcript::encode({{QUuid::createUuid(), Speaker::them, 252.5, u"Dana has the pricing"_s}}));
    line.addCapture(u"2026-03-01-0900-meeting"_s, "Dana on pricing", "2026-03-01T08:00:00Z");
    line.addCapture(u"2026-02-28-0900-meeting"_s, "Other", "2026-02-28T08:00:00Z");
    line.home().write(u"Quillet/memory/people/dana-kim.md"_s,
                      "---\nname: Dana Kim\ncompany: Pricing Inc\n---\n\n# Dana Kim\n");
    line.home().write(u"Quillet/memory/promises.md"_s,
                      "# Promises\n\n- [ ] send pricing · Me → [[people/dana-kim|Dana Kim]] ^p-000001\n");
    line.home().write(u"Quillet/asks/2026-03-02-0915-what.md"_s,
                      "---\ntitle: What now?\n---\n\n### Me · 2026-03-02T08:15:00Z\nWhat does Dana want?\n\n"
                      "### Lumbro\nBetter pricing.\n\n");
}

}  // namespace

TEST(SearchCommand, givesRankedCapturesAndIdsOfTheRest) {
    const CommandLine line;
    fill(line);
    const QJsonObject found = line.run({u"search"_s, u"DANA pricing"_s, u"--json"_s}).object();
    const QJsonArray captures = found[u"captures"].toArray();
    ASSERT_EQ(captures.size(), 2);
    EXPECT_EQ(captures[0][u"id"].toString(), u"2026-03-01-0900-meeting"_s);
    EXPECT_EQ(captures[0][u"score"].toInt(), 81);
    EXPECT_EQ(captures[1][u"title"].toString(), u"Weekly sync"_s);
    EXPECT_EQ(captures[1][u"hits"][0].toObject(), (QJsonObject{{u"kind"_s, u"transcript"_s},
                                                               {u"label"_s, u"Them · 04:12"_s},
                                                               {u"snippet"_s, u"Dana has the pricing"_s},
                                                               {u"time"_s, 252.5},
                                                               {u"score"_s, 20}}));
    EXPECT_EQ(found[u"people"].toArray(), QJsonArray{u"dana-kim"_s});
    EXPECT_EQ(found[u"promises"].toArray(), QJsonArray{u"p-000001"_s});
    EXPECT_EQ(found[u"projects"].toArray(), QJsonArray());
    EXPECT_EQ(found[u"ideas"].toArray(), QJsonArray());
    EXPECT_EQ(found[u"asks"][0][u"id"].toString(), u"2026-03-02-0915-what"_s);
    EXPECT_EQ(found[u"asks"][0][u"snippet"].toString(), u"What does Dana want?"_s);
    const auto limited = line.run({u"search"_s, u"dana"_s, u"pricing"_s, u"--json"_s, u"--limit"_s, u"1"_s});
    EXPECT_EQ(limited.object()[u"captures"].toArray().size(), 1);
}

TEST(SearchCommand, showsTitlesWithTheirBestLines) {
    const CommandLine line;
    fill(line);
    EXPECT_EQ(line.run({u"search"_s, u"dana"_s, u"pricing"_s}).output,
              u"Dana on pricing  2026-03-01-0900-meeting\n"
              "\n"
              "Weekly sync  2026-03-02-0914-meeting\n"
              "  Them · 04:12  Dana has the pricing\n"
              "  Your notes    Ask about Pricing\n"
              "\n"
              "People\n"
              "  Dana Kim · Pricing Inc\n"
              "\n"
              "Promises\n"
              "  [ ] send pricing · Me → Dana Kim\n"
              "\n"
              "Conversations\n"
              "  What now? · What does Dana want?\n"_s);
    EXPECT_TRUE(line.run({u"search"_s, u"pricing"_s, u"-n"_s, u"1"_s})
                    .output.contains(u"\n\nand 1 capture more\n"_s));
    const Finished none = line.run({u"search"_s, u"nobody"_s});
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.output, QString());
    EXPECT_EQ(none.errors, u"Nothing in the library holds \"nobody\".\n"_s);
    const Finished blank = line.run({u"search"_s, u" "_s});
    EXPECT_EQ(blank.status, 0);
    EXPECT_EQ(blank.errors, u"Nothing to search for: give a word.\n"_s);
    EXPECT_EQ(line.run({u"search"_s, u" "_s, u"--json"_s}).object(),
              line.run({u"search"_s, u"nobody"_s, u"--json"_s}).object());
    EXPECT_EQ(line.run({u"search"_s}).status, 2);
}

TEST(SearchCommand, namesWhatItCouldNotLookInto) {
    const CommandLine line;
    fill(line);
    const QString weekly = u"2026-03-02-0914-meeting"_s;
    const QList<std::pair<QString, QByteArray>> rows{
        {u"transcript.json"_s, "[{"}, {u"notes.md"_s, "caf\xe9"}, {u"handoffs/notes.md"_s, "\xff\xfe"}};
    for (const auto& [name, bytes] : rows) {
        line.write(weekly, name, bytes);
    }
    line.home().write(u"Quillet/asks/broken.md"_s, QByteArray(3, '\0'));
    const Finished found = line.run({u"search"_s, u"dana"_s, u"--json"_s});
    EXPECT_EQ(found.status, 0);
    EXPECT_EQ(found.object()[u"captures"].toArray().size(), 1);
    for (const QString& name : {u"captures/%1/transcript.json"_s, u"captures/%1/notes.md"_s,
                                u"captures/%1/handoffs/notes.md"_s, u"asks/broken.md"_s}) {
        const QString path = line.home().path(u"Quillet/"_s + QString(name).replace(u"%1"_s, weekly));
        EXPECT_TRUE(found.errors.contains(
            path + u" can't be read and was not searched; mend it, or move it away.\n"_s))
            << qPrintable(found.errors);
    }
    EXPECT_EQ(found.errors.count(u'\n'), 4);
}
