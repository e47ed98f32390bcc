#include "tests/cli/CommandLine.h"

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::test;

TEST(EngineCommands, listsEnginesWithTheWarnings) {
    const CommandLine line;
    line.home().write(u"Quillet/engines/mine.md"_s,
                      "---\nname: Mine\nresult: action: mail\ninputs: voice\ntimeout: 30\n---\nDo it.\n");
    line.home().write(u"Quillet/engines/broken.md"_s, "Do it.\n");
    const QJsonObject listed = line.run({u"engines"_s, u"--json"_s}).object();
    QJsonObject mine;
    QStringList ids;
    for (const auto& engine : listed.value(u"engines"_s).toArray()) {
        ids += engine.toObject().value(u"id"_s).toString();
        mine = ids.last() == u"mine" ? engine.toObject() : mine;
    }
    EXPECT_TRUE(ids.contains(u"notes"_s));
    EXPECT_EQ(mine.value(u"result"_s), u"action: mail"_s);
    EXPECT_EQ(mine.value(u"usesVoice"_s), true);
    EXPECT_EQ(mine.value(u"timeout"_s), 30);
    EXPECT_FALSE(mine.contains(u"watch"_s));
    const QJsonArray warnings = listed.value(u"warnings"_s).toArray();
    ASSERT_EQ(warnings.size(), 1);
    EXPECT_TRUE(warnings.at(0).toString().contains(u"missing the --- frontmatter block at the top"_s));
    EXPECT_TRUE(line.run({u"engines"_s}).errors.contains(u"broken.md"_s));
    EXPECT_EQ(line.run({u"engines"_s, u"show"_s, u"mine"_s, u"--json"_s}).object(), mine);
}

TEST(EngineCommands, checksAFileInTheWarningsWords) {
    const CommandLine line;
    line.home().write(u"good.md"_s, "---\nname: Good\n---\nDo it.\n");
    line.home().write(u"bad.md"_s, "---\nicon: x\n---\nDo it.\n");
    EXPECT_EQ(line.run({u"engines"_s, u"check"_s, line.home().path(u"good.md"_s)}).status, 0);
    const Finished bad = line.run({u"engines"_s, u"check"_s, line.home().path(u"bad.md"_s)});
    EXPECT_EQ(bad.status, 1);
    EXPECT_EQ(bad.errors, u"lumbro: bad.md: frontmatter needs a `name:`\n"_s);
    const Finished asJson = line.run({u"engines"_s, u"check"_s, line.home().path(u"bad.md"_s), u"--json"_s});
    EXPECT_EQ(asJson.status, 1);
    EXPECT_EQ(asJson.object(), (QJsonObject{{u"error"_s, u"frontmatter needs a `name:`"_s}}));
    line.home().write(u"binary.md"_s, QByteArray::fromHex("ff00fe"));
    for (const QString& name : {u"missing.md"_s, u"binary.md"_s, u"."_s}) {
        const Finished unread = line.run({u"engines"_s, u"check"_s, line.home().path(name), u"--json"_s});
        EXPECT_EQ(unread.status, 1) << qPrintable(name);
        EXPECT_TRUE(unread.object().value(u"error"_s).toString().contains(u"can't be read"_s));
    }
}

TEST(EngineCommands, runsAnEngineWithTheFocusAndKeepsItsResult) {
    const CommandLine line;
    line.installAgent();
    const QString id = u"2026-03-02-0914-meeting"_s;
    line.addCapture(id, "Plan", "2026-03-02T08:14:00Z");
    line.write(id, u"notes.md"_s, "buy milk\n");
    const Finished run =
        line.run({u"engine-run"_s, u"notes"_s, u"last"_s, u"--focus"_s, u"milk"_s, u"--json"_s});
    ASSERT_EQ(run.status, 0) << qPrintable(run.errors);
    const QString path = u"Quillet/captures/%1/handoffs/notes.md"_s.arg(id);
    EXPECT_EQ(run.object().value(u"text"_s).toString(), QString::fromUtf8(line.home().read(path)));
    EXPECT_EQ(run.object().value(u"path"_s).toString(), line.home().path(path));
    EXPECT_EQ(run.object().value(u"engine"_s), u"notes"_s);
    EXPECT_TRUE(line.home().read(u"agent.log"_s).contains("## FOCUS"));
}

TEST(EngineCommands, saysWhyAnEngineCouldNotRun) {
    CommandLine line;
    line.addCapture(u"2026-03-02-0914-meeting"_s, "Plan", "2026-03-02T08:14:00Z");
    const Finished absent = line.run({u"engine-run"_s, u"notes"_s, u"last"_s});
    EXPECT_EQ(absent.status, 1);
    EXPECT_TRUE(absent.output.isEmpty());
    line.installAgent();
    line.set(u"FAKE_AGENT_MODE"_s, u"limit"_s);
    const Finished limited = line.run({u"engine-run"_s, u"notes"_s, u"last"_s});
    EXPECT_EQ(limited.status, 1);
    EXPECT_NE(limited.errors, absent.errors);
    line.write(u"2026-03-02-0914-meeting"_s, u"transcript.json"_s, "[{");
    const Finished broken = line.run({u"engine-run"_s, u"notes"_s, u"last"_s});
    EXPECT_EQ(broken.status, 1);
    EXPECT_TRUE(broken.errors.contains(u"mend or remove transcript.json"_s)) << qPrintable(broken.errors);
    EXPECT_FALSE(broken.errors.contains(u"Running"_s)) << qPrintable(broken.errors);
    EXPECT_FALSE(line.home().has(u"Quillet/captures/2026-03-02-0914-meeting/handoffs"_s));
}
