#include "LumbroCore/Literals.h"
#include "memory/formats/IdeaItem.h"
#include "memory/formats/MarkdownDoc.h"
#include "memory/formats/MemoryEntity.h"
#include "memory/formats/MemoryText.h"
#include "memory/formats/PromiseItem.h"
#include "memory/formats/WikiLink.h"

#include <gtest/gtest.h>

namespace lumbro {
namespace {

TEST(WikiLinkTest, linksAreFoundAndReplacedByTheirTitles) {
    struct Row {
        QString text;
        QList<WikiLink> links;
        QString plain;
    };
    const QList<Row> rows{
        {u"none"_s, {}, u"none"_s},
        {u"[[a/b|Title]] and [[c]]."_s, {{u"a/b"_s, u"Title"_s}, {u"c"_s, u"c"_s}}, u"Title and c."_s},
        {u"[[[x]]"_s, {{u"[x"_s, u"[x"_s}}, u"[x"_s},
        {u"[[a|b|c]]"_s, {{u"a"_s, u"b|c"_s}}, u"b|c"_s},
        {u"[[]] [[|t]] [[a|]] [[a]b]] [[open"_s, {}, u"[[]] [[|t]] [[a|]] [[a]b]] [[open"_s},
        {u"[[broken [[ok]]"_s, {{u"broken [[ok"_s, u"broken [[ok"_s}}, u"broken [[ok"_s},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(WikiLink::all(row.text), row.links) << row.text.toStdString();
        EXPECT_EQ(WikiLink::plain(row.text), row.plain) << row.text.toStdString();
    }
    EXPECT_EQ((WikiLink{u"captures/2026-03-02-1430-meeting/transcript"_s, u"T"_s}.captureID()),
              u"2026-03-02-1430-meeting"_s);
    EXPECT_EQ((WikiLink{u"people/dana"_s, u"T"_s}.captureID()), std::nullopt);
    EXPECT_EQ((WikiLink{u"x"_s, u"a]] [b"_s}.text()), u"[[x|a)) (b]]"_s);
}

TEST(WikiLinkTest, manyBracketsTakeNoLongTime) {
    const QString brackets = QString(300'000, u'[') + u"a|"_s + QString(300'000, u'[');
    EXPECT_TRUE(WikiLink::all(brackets).isEmpty());
    EXPECT_TRUE(WikiLink::all(brackets + u']').isEmpty());
}

TEST(MarkdownDocTest, pagesAreReadAndBroughtIntoForm) {
    struct Row {
        const char* text;
        const char* rendered;
    };
    const QList<Row> rows{
        {"---\nname: A: b\nodd\n---\n\n# A\n\n## About\n- x\n", nullptr},
        {"---\nno end: here\n## S\nline\n", "---\nno end: here\n\n## S\nline\n"},
        {" --- \nname:X\n\t---\n##  Odd  \n-  two", "--- \nname:X\n\t---\n\n##  Odd  \n-  two\n"},
        {"## A\nx\n## B\n\n\n", "## A\nx\n\n## B\n"},
        {"---\r\nname: X\r\n---\r\n\r\n# X\r\n## A\r\n- y\r\n",
         "---\r\nname: X\r\n---\r\n\r\n# X\r\n\r\n## A\r\n- y\r\n"},
        {"---\ntags:\n  - a\n# remark\nname: X\n---\n", nullptr},
    };
    for (const Row& row : rows) {
        const MarkdownDoc page = MarkdownDoc::parse(QString::fromUtf8(row.text));
        const QByteArray rendered = page.render().toUtf8();
        EXPECT_EQ(rendered, row.rendered == nullptr ? row.text : row.rendered) << row.text;
        EXPECT_EQ(MarkdownDoc::parse(page.render()).render().toUtf8(), rendered) << row.text;
    }
    const MarkdownDoc page = MarkdownDoc::parse(u" --- \nname:X: y\nName: Z\nname: W\n---\n"_s);
    EXPECT_EQ(page.field(u"name"), u"X: y"_s);
    EXPECT_EQ(page.fields().size(), 3);
    EXPECT_EQ(page.field(u"none"), QString());
}

TEST(MarkdownDocTest, changesTouchOnlyTheirOwnLines) {
    MarkdownDoc page = MarkdownDoc::parse(
        u"---\r\nname:   Dana \r\nx: 1\r\ncompany:\r\n---\r\n# Dana\r\n\r\n## about\r\n* odd\r\n- "
        u"one\r\n\r\n\r\n"
        "## Mine\r\n  text"_s);
    page.setField(u"name"_s, u"Other"_s, true);
    page.setField(u"company"_s, u" Acme\nInc "_s, true);
    page.setField(u"x"_s, {});
    page.setField(u"last_seen"_s, u"2026-03-02"_s);
    page.setField(u"status"_s, {});
    page.appendBullet(u"two"_s, u"About"_s);
    page.appendBullet(u"new"_s, u"Timeline"_s);
    page.setHeading(u"Kim"_s);
    EXPECT_EQ(
        page.render(),
        u"---\r\nname:   Dana \r\nx: 1\r\ncompany: Acme Inc\r\nlast_seen: 2026-03-02\r\nstatus: \r\n---\r\n"
        "# Kim\r\n\r\n## about\r\n* odd\r\n- one\r\n- two\r\n\r\n## Mine\r\n  text\r\n\r\n## Timeline\r\n"
        "- new\r\n"_s);
    EXPECT_EQ(page.bullets(u"ABOUT"), (QStringList{u"one"_s, u"two"_s}));
    EXPECT_EQ(MarkdownDoc::parse(page.render()).field(u"status"), QString());
}

TEST(MarkdownDocTest, noWriteRemovesALine) {
    struct Row {
        QByteArray head;
        /// What any value makes of it; nothing where it stays.
        QByteArray replaced;
        /// A value that is only for an empty field makes the same of it.
        bool isEmpty = false;
    };
    const QList<Row> rows{
        {"key:\nx: 1\n", "key: new\nx: 1\n", true},
        {"key:\n\n# a remark\nx: 1\n", "key: new\n\n# a remark\nx: 1\n", true},
        {"key:\n  # a remark\n", "key: new\n  # a remark\n", true},
        {"key:\nby hand\n", "key: new\nby hand\n", true},
        {" key:\n x: 1\n", " key: new\n x: 1\n", true},
        {" \n  x: 1\n", " \n  x: 1\n  key: new\n", true},
        // Values on their own line, whatever stands below.
        {"key: \"Atlas\"\n   # nick\n   aka: the big one\n", "key: new\n   # nick\n   aka: the big one\n"},
        {"key: \"2026-01-01\"\n   hand note below\n", "key: new\n   hand note below\n"},
        {"key: 'it''s' # so\n  by hand\n", "key: new\n  by hand\n"},
        {"key: [a, [b]]\n\n  - c\n", "key: new\n\n  - c\n"},
        {"key: a\n  x: 1\n", "key: new\n  x: 1\n"},
        {"key: > 50%\n  by hand\n", "key: new\n  by hand\n"},
        {"key: \"Atlas\nx: 1\n", "key: new\nx: 1\n"},
        {"key: '\nx: 1\n", "key: new\nx: 1\n"},
        {"key: |\nx: 1\n", "key: new\nx: 1\n"},
        // Values that go on below.
        {"key:\n  phase: beta\n  owner: Dana\n  # budget agreed\n", {}},
        {"key:\n\n# budget 40k\n- owner Dana\n", {}},
        {"key:\n- a\n# remark\n- b: c\nx: 1\n", {}},
        {"key: [a,\n  b]\nx: 1\n", {}},
        {"key: [\na,\n# remark\nb\n]\nx: 1\n", {}},
        {"key: {\n  a: b}\n", {}},
        {"key: |\n  # a\n\n  b\nx: 1\n", {}},
        {"key: >-2 # text\n  a\n", {}},
        {"key: \"a \\\" b\n\n  c\"\n", {}},
        {"key: 'it''s\n# a'\n", {}},
    };
    for (const Row& row : rows) {
        for (const bool onlyIfEmpty : {true, false}) {
            MarkdownDoc page = MarkdownDoc::parse(u"---\n"_s + QString::fromUtf8(row.head) + u"---\n"_s);
            const bool isDone = page.setField(u"key"_s, u"new"_s, onlyIfEmpty);
            EXPECT_EQ(isDone, onlyIfEmpty || !row.replaced.isEmpty()) << row.head.toStdString();
            const bool isReplaced = onlyIfEmpty ? row.isEmpty : !row.replaced.isEmpty();
            EXPECT_EQ(page.render().toUtf8(), "---\n" + (isReplaced ? row.replaced : row.head) + "---\n");
        }
    }
}

TEST(TimelineEntryTest, bulletsAreRead) {
    const WikiLink link{u"captures/c/transcript"_s, u"Acme — kickoff"_s};
    struct Row {
        QString bullet;
        TimelineEntry entry;
    };
    const QList<Row> rows{
        {TimelineEntry::bullet(u"2026-03-02"_s, link, u"Met — twice"_s),
         {u"2026-03-02"_s, link, u"Met — twice"_s}},
        {u"2026-03-02·called [[people/a|Ann]]"_s,
         {u"2026-03-02"_s, WikiLink{u"people/a"_s, u"Ann"_s}, u"called Ann"_s}},
        {u"no date — but a dash"_s, {QString(), std::nullopt, u"but a dash"_s}},
        {u"2026-3-2 · text"_s, {QString(), std::nullopt, u"2026-3-2 · text"_s}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(TimelineEntry::parse(row.bullet), row.entry) << row.bullet.toStdString();
    }
}

TEST(PromiseItemTest, linesAreReadByTheGrammar) {
    const WikiLink capture{u"captures/c/transcript"_s, u"Rome → Paris · plan"_s};
    const PromiseItem whole{.id = u"p-abc123"_s,
                            .done = false,
                            .text = u"Send the deck"_s,
                            .owner = u"Me"_s,
                            .recipient = u"[[people/dana-kim|Dana Kim]]"_s,
                            .recipientSlug = u"dana-kim"_s,
                            .due = u"Friday"_s,
                            .source = capture,
                            .date = u"2026-03-02"_s,
                            .snoozedUntil = u"2026-03-05"_s};
    EXPECT_EQ(PromiseItem::parse(whole.line()), whole);
    EXPECT_EQ(whole.line(),
              u"- [ ] Send the deck · Me → [[people/dana-kim|Dana Kim]] · due Friday · "
              "[[captures/c/transcript|Rome → Paris · plan]] · 2026-03-02 · snoozed 2026-03-05 ^p-abc123"_s);
    EXPECT_EQ(PromiseItem::parse(QString(u"  "_s + whole.line() + u" \t\r"_s)), whole);

    const auto ticked = PromiseItem::parse(u"- [X] call Ann ^p-abc123");
    ASSERT_TRUE(ticked);
    EXPECT_TRUE(ticked->done);
    EXPECT_EQ(ticked->text, u"call Ann"_s);
    EXPECT_EQ(ticked->id, u"p-abc123"_s);
    EXPECT_EQ(PromiseItem::parse(u"- [ ] a · snoozed 2026-01-01 · b · snoozed 2026-01-02")->snoozedUntil,
              u"2026-01-02"_s);
    const QString made = PromiseItem::parse(u"- [ ] a · Me → Bo")->id;
    EXPECT_TRUE(made.startsWith(u"p-line-"));
    for (const QStringView same :
         {u"\t- [ ] a · Me → Bo ", u"- [X] a · Me → Bo", u"- [x] a · Me → Bo · snoozed 2026-01-01"}) {
        EXPECT_EQ(PromiseItem::parse(same)->id, made) << same.toString().toStdString();
    }
    EXPECT_NE(PromiseItem::parse(u"- [ ] a · Me → Bo · due Friday")->id, made);
    for (const QStringView line : {u"", u"- a", u"- [] a", u"* [ ] a", u"-[ ] a", u"# - [ ] a"}) {
        EXPECT_FALSE(PromiseItem::parse(line)) << line.toString().toStdString();
    }
}

TEST(IdeaItemTest, linesAreReadByTheGrammar) {
    const IdeaItem whole{.id = u"i-abc123"_s,
                         .hook = u"Stop pitching"_s,
                         .angle = u"Listen first"_s,
                         .source = WikiLink{u"captures/c/transcript"_s, u"Call · one"_s},
                         .date = u"2026-03-02"_s};
    EXPECT_EQ(
        whole.line(),
        u"- **Stop pitching** — Listen first · [[captures/c/transcript|Call · one]] · 2026-03-02 ^i-abc123"_s);
    EXPECT_EQ(IdeaItem::parse(whole.line()), whole);

    const IdeaItem odd{.id = u"i-1"_s,
                       .hook = u" a **b** — c · d "_s,
                       .angle = u"e · f"_s,
                       .source = std::nullopt,
                       .date = u"2026-03-02"_s};
    const auto read = IdeaItem::parse(odd.line());
    EXPECT_EQ(read->hook, u"a b – c • d"_s);
    EXPECT_EQ(read->angle, u"e • f"_s);
    IdeaItem open = whole;
    open.hook = u"why [[open [[[x]] and [["_s;
    open.angle = u"[[[[ never"_s;
    const auto closed = IdeaItem::parse(open.line());
    EXPECT_EQ(closed->source, whole.source);
    EXPECT_EQ(closed->hook, u"why [[open [[[x]] and (("_s);
    EXPECT_EQ(closed->angle, u"(((( never"_s);

    EXPECT_EQ(IdeaItem::parse(u"- just a hook")->hook, u"just a hook"_s);
    EXPECT_EQ(IdeaItem::parse(u"- a · 2026-99-99 · other")->date, u"2026-99-99"_s);
    EXPECT_FALSE(IdeaItem::parse(u"no bullet"));
}

TEST(MemoryTextTest, foreignTextBecomesOneHarmlessLine) {
    using memoryText::oneLine;
    EXPECT_EQ(oneLine(u" a\r\nb\nc\td\u2028e\u0085f "_s), u"a b c d e f"_s);
    EXPECT_EQ(oneLine(u"x\u202Egnp.exe\u2066\u200F\uFEFF\u0000\u001B[31m"_s), u"xgnp.exe[31m"_s);
    EXPECT_EQ(oneLine(QString(QChar(0xD83D)) + u"a"_s + QString(QChar(0xDE00))), u"a"_s);
    EXPECT_EQ(oneLine(u"👩‍💻 قلم"_s), u"👩‍💻 قلم"_s);
    EXPECT_EQ(oneLine(u"😀😀"_s, 3), u"😀"_s);

    EXPECT_EQ(memoryText::fileSlug(u"../../x"_s), u"x"_s);
    EXPECT_EQ(memoryText::fileSlug(u"Ünal Öz"_s), u"ünal-öz"_s);
    for (const QString& name : {QString(10'000, u'a'), QString(10'000, u'漢'), u"a-"_s.repeated(5'000)}) {
        const QString slug = memoryText::fileSlug(name);
        EXPECT_LE(slug.toUtf8().size(), 200);
        EXPECT_GE(slug.size(), 60);
        EXPECT_FALSE(slug.endsWith(u'-'));
    }
}

}  // namespace
}  // namespace lumbro
