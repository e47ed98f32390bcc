#include "LumbroCore/Literals.h"
#include "ask/formats/AnswerStream.h"
#include "ask/formats/AskReply.h"

#include <gtest/gtest.h>

using namespace lumbro;

namespace {

struct Row {
    const char* name;
    QString output;
    AskReply reply;
};

const QList<Row>& rows() {
    static const QList<Row> table{
        {"plain", u"Friday.\n\nSOURCES: a, b"_s, {u"Friday."_s, {u"a"_s, u"b"_s}, {}}},
        {"nothing at all", u""_s, {}},
        {"only marked lines", u"ACTION: Mail\nSOURCES: a"_s, {{}, {u"a"_s}, u"mail"_s}},
        {"decorated action", u"Text\n**ACTION: Reminders.**"_s, {u"Text"_s, {}, u"reminders"_s}},
        {"quoted app",
         u"Text\nAction: `Slack`\nsources: a, , `b`"_s,
         {u"Text"_s, {u"a"_s, u"b"_s}, u"slack"_s}},
        {"only the last sources line counts",
         u"One\nSOURCES: a\nTwo\nSOURCES: b\nThree"_s,
         {u"One\nSOURCES: a\nTwo\nThree"_s, {u"b"_s}, {}}},
        {"decoration is not allowed before sources",
         u"Text\n**SOURCES: a**"_s,
         {u"Text\n**SOURCES: a**"_s, {}, {}}},
        {"an empty action is no action",
         u"ACTION: mail\nText\nACTION: **"_s,
         {u"Text\nACTION: **"_s, {}, u"mail"_s}},
        {"only the last action counts",
         u"ACTION: mail\n\nACTION: slack\nEnd"_s,
         {u"ACTION: mail\n\nEnd"_s, {}, u"slack"_s}},
        {"the word alone is text",
         u"Sources are hard to find.\nActions too."_s,
         {u"Sources are hard to find.\nActions too."_s, {}, {}}},
        {"white space around", u"\n\n  Hello \n\n there  \n \n"_s, {u"Hello \n\n there"_s, {}, {}}},
        {"other line ends", u"Hello\r\nACTION: mail\r\nSOURCES: a\r\n"_s, {u"Hello"_s, {u"a"_s}, u"mail"_s}},
        {"zero characters", u"He\0llo\nSOUR\0CES: a"_s, {u"Hello"_s, {u"a"_s}, {}}},
        {"letters whose upper case is longer", u"ßources: a\nſources: b"_s, {u"ßources: a"_s, {u"b"_s}, {}}},
        {"bullets and bold",
         u"* **So** it is\n*Act*ion\n`AC`\nSO\nA"_s,
         {u"* **So** it is\n*Act*ion\n`AC`\nSO\nA"_s, {}, {}}},
        {"two words", u"Text\nACTION: Google Calendar ."_s, {u"Text"_s, {}, u"google calendar"_s}},
    };
    return table;
}

AskLookup lookup() {
    static const CaptureIndex index({{u"2026-03-02-0914-meeting-2"_s, u"Second"_s},
                                     {u"2026-03-02-0914-meeting"_s, u"First"_s},
                                     {u"short"_s, u"Short"_s},
                                     {u"2026-03-01-0900-session"_s, u"Chats"_s}});
    const auto named = [](const QString& slug, const QString& known) {
        return slug == known ? std::optional(u"Name of "_s + slug) : std::nullopt;
    };
    return {.capture = [](const QString& text) -> std::optional<AskSource> {
                const auto* entry = index.find(text);
                return entry == nullptr
                           ? std::nullopt
                           : std::optional(AskSource{entry->title, SidebarItem::capture(entry->id)});
            },
            .person = [named](const QString& slug) { return named(slug, u"dana-kim"_s); },
            .project = [named](const QString& slug) { return named(slug, u"apollo"_s); }};
}

}  // namespace

TEST(AskReply, takesTheMarkedLinesOutOfTheAnswer) {
    for (const Row& row : rows()) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(AskReply::parse(row.output), row.reply) << qPrintable(AskReply::parse(row.output).text);
    }
}

TEST(AskReply, aStreamShowsTheAnswerAsItWillBeStoredInPiecesOfAnySize) {
    for (const Row& row : rows()) {
        for (qsizetype size = 1; size <= row.output.size(); ++size) {
            SCOPED_TRACE(testing::Message() << row.name << " in pieces of " << size);
            AnswerStream stream;
            QString shown;
            for (qsizetype at = 0; at < row.output.size(); at += size) {
                shown += stream.feed(row.output.mid(at, size));
                ASSERT_EQ(row.reply.text.left(shown.size()), shown);
            }
        }
    }
}

TEST(AskReply, aStreamHoldsBackNoMoreThanItMust) {
    AnswerStream stream;
    EXPECT_EQ(stream.feed(u"Hel"_s), u"Hel"_s);
    EXPECT_EQ(stream.feed(u"lo\n"_s), u"lo"_s);
    EXPECT_EQ(stream.feed(u"So"_s), QString());
    EXPECT_EQ(stream.feed(u"on"_s), u"\nSoon"_s);
    EXPECT_EQ(stream.feed(u"\n**A"_s), QString());
    EXPECT_EQ(stream.feed(u"h**"_s), u"\n**Ah**"_s);
}

TEST(AskReply, findsThePlacesThatItemsName) {
    using Kind = SidebarItem::Kind;
    struct Case {
        QStringList tokens;
        QStringList items;
    };
    const Case cases[] = {
        {{u"captures/2026-03-02-0914-meeting/notes.md"_s}, {u"capture:2026-03-02-0914-meeting"_s}},
        // The library's order decides between names that one text contains.
        {{u"2026-03-02-0914-meeting-2"_s}, {u"capture:2026-03-02-0914-meeting-2"_s}},
        {{u"see captures/short/x"_s}, {u"capture:short"_s}},
        {{u"captures/2026-03-02"_s, u"2026-03-02-0914-meetin"_s, u"notes.md"_s}, {}},
        {{u"memory/people/dana-kim.md"_s, u"memory/projects/apollo.md"_s, u"memory/promises.md"_s},
         {u"person:dana-kim"_s, u"project:apollo"_s, u"promises"_s}},
        {{u"people/gone.md"_s, u"projects/"_s, u"ideas"_s}, {u"ideas"_s}},
        {{u"people/dana-kim"_s, u"memory/people/dana-kim.md"_s, u"ideas"_s, u"promises"_s, u"short"_s},
         {u"person:dana-kim"_s, u"ideas"_s, u"promises"_s}},
    };
    for (const Case& row : cases) {
        QStringList items;
        for (const AskSource& source : AskReply::resolve(row.tokens, lookup())) {
            items += source.item.token();
        }
        EXPECT_EQ(items, row.items) << qPrintable(row.tokens.join(u' '));
    }
    const auto named = AskReply::resolve({u"people/dana-kim.md"_s}, lookup());
    EXPECT_EQ(named.value(0).title, u"Name of dana-kim"_s);
    EXPECT_EQ(named.value(0).item.kind, Kind::person);
    EXPECT_TRUE(AskReply::resolve({u"people/dana-kim.md"_s, u"short"_s}, {}).isEmpty());
}
