#include "LumbroCore/Literals.h"
#include "engines/formats/Frontmatter.h"

#include <gtest/gtest.h>

using namespace lumbro;

TEST(Frontmatter, readsKeysAndValues) {
    const struct {
        QString line;
        QString key;
        QString value;
    } rows[] = {
        {u"name: Follow-up # for Slack"_s, u"name"_s, u"Follow-up"_s},
        {u"name: a#b"_s, u"name"_s, u"a#b"_s},
        {u" Name\t:\t 'Quoted' "_s, u"name"_s, u"Quoted"_s},
        {u"result: action: google calendar"_s, u"result"_s, u"action: google calendar"_s},
        {u"empty:"_s, u"empty"_s, u""_s},
        {u"# gone"_s, u"# gone"_s, {}},
        {u"hash: # all comment"_s, u"hash"_s, u"# all comment"_s},
    };
    for (const auto& row : rows) {
        const auto parsed = Frontmatter::parse(u"---\n"_s + row.line + u"\n ---\t\nbody"_s);
        EXPECT_TRUE(parsed.found);
        EXPECT_EQ(parsed.value(row.key).value_or(QString()), row.value) << row.line.toStdString();
        EXPECT_EQ(parsed.body, u"body"_s);
    }
    EXPECT_EQ(Frontmatter::parse(u"---\na: 1\nA: 2\n---"_s).value(u"a"_s), u"2"_s);
}

TEST(Frontmatter, needsAFenceOnTheFirstLineAndOneThatCloses) {
    for (const QString& text :
         {u""_s, u"\n---\na: 1\n---\n"_s, u"---\na: 1\n"_s, u"----\n---\n"_s, u"---"_s}) {
        EXPECT_EQ(Frontmatter::parse(text), (Frontmatter::Parsed{{}, text, false})) << text.toStdString();
    }
}

TEST(Frontmatter, splitsAtEveryNewlineOfUnicode) {
    const auto parsed = Frontmatter::parse(u"---\r\na: 1\u2028b: 2\u0085---\vone\ftwo"_s);
    EXPECT_EQ(parsed.value(u"a"_s), u"1"_s);
    EXPECT_EQ(parsed.value(u"b"_s), u"2"_s);
    EXPECT_EQ(parsed.body, u"one\ntwo"_s);
}

TEST(Frontmatter, listsInEveryNotation) {
    const QStringList both{u"notes"_s, u"Ask"_s};
    for (const QString& value : {u"[notes, Ask]"_s, u"notes, Ask"_s, u"[ 'notes',, \"Ask\" ]"_s}) {
        EXPECT_EQ(Frontmatter::list(value), both) << value.toStdString();
    }
    EXPECT_TRUE(Frontmatter::list(std::nullopt).isEmpty());
    EXPECT_TRUE(Frontmatter::list(u"[ ]"_s).isEmpty());
}
