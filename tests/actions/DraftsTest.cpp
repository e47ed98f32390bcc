#include "LumbroCore/Literals.h"
#include "actions/formats/ActionItem.h"
#include "actions/formats/EmailDraft.h"
#include "actions/formats/EventDraft.h"

#include <QUrl>
#include <QUrlQuery>

#include <gtest/gtest.h>

using namespace lumbro;

namespace {

const QDate monday(2026, 3, 2);

TEST(ActionItem, readsOwnerTaskAndDay) {
    struct Row {
        QString line;
        ActionItem item;
    };
    const QList<Row> rows{
        {u"- [ ] Me — send deck (due 2026-03-06)"_s, {0, u"Me"_s, u"send deck"_s, QDate(2026, 3, 6), true}},
        {u"  - [ ] Dana: review (friday)\r"_s, {0, u"Dana"_s, u"review"_s, QDate(2026, 3, 6), false}},
        {u"- [ ] **I** – call: Ann"_s, {0, u"I"_s, u"call: Ann"_s, std::nullopt, true}},
        {u"- [ ] A very long task that has a dash - late in it"_s,
         {0, {}, u"A very long task that has a dash - late in it"_s, std::nullopt, true}},
        {u"- [ ] Me — call (not sure)"_s, {0, u"Me"_s, u"call (not sure)"_s, std::nullopt, true}},
        {u"- [ ] fix (a) and (tomorrow)"_s, {0, {}, u"fix (a) and"_s, QDate(2026, 3, 3), true}},
        {u"- [ ] ()"_s, {0, {}, u"()"_s, std::nullopt, true}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(ActionItem::parse(row.line, monday, monday), QList{row.item}) << row.line.toStdString();
    }
}

TEST(ActionItem, passesOverWhatIsNoOpenTask) {
    const auto items = ActionItem::parse(
        u"# To do\n- [x] done thing\n- plain\n- [ ] one\n* [ ] no\n- [ ] two"_s, std::nullopt, monday);
    ASSERT_EQ(items.size(), 2);
    EXPECT_EQ(items[1].task, u"two");
    EXPECT_EQ(items[1].id, 1);
}

TEST(EmailDraft, takesTheSubjectOutOfTheBody) {
    struct Row {
        QString text;
        QString subject;
        QString body;
    };
    const QList<Row> rows{
        {u"**Subject:** Hello: you\n\nHi **Ann**,\n\nbye\n"_s, u"Hello: you"_s, u"Hi Ann,\n\nbye"_s},
        {u"Hi\nSubject matters\nsubject: two\nSubject: three"_s, u"two"_s, u"Hi\nSubject: three"_s},
        {u"only a body"_s, {}, u"only a body"_s},
    };
    for (const Row& row : rows) {
        const EmailDraft wanted{{u"a@b.c"_s}, row.subject, row.body};
        EXPECT_EQ(EmailDraft::parse(row.text, {u"a@b.c"_s}), wanted) << row.text.toStdString();
    }
    EXPECT_TRUE(EmailDraft::looksLikeEmail(u"Follow-up EMAIL"_s, {}));
    EXPECT_TRUE(EmailDraft::looksLikeEmail({}, u"x\n**Subject:** y"_s));
    EXPECT_FALSE(EmailDraft::looksLikeEmail(u"Notes"_s, u"Subject: y"_s));
}

TEST(EmailDraft, anAddressCarriesEveryCharacter) {
    const EmailDraft draft{{u"a+x@b.c"_s, u"Ann <d@e.f>"_s}, u"50% & more?"_s, u"Grüße\n#1 = 🙂"_s};
    const QUrl url = QUrl::fromEncoded(draft.url(), QUrl::StrictMode);
    ASSERT_TRUE(url.isValid());
    EXPECT_EQ(url.path(QUrl::FullyDecoded), u"a+x@b.c,Ann <d@e.f>");
    EXPECT_EQ(QUrlQuery(url).queryItemValue(u"subject"_s, QUrl::FullyDecoded), draft.subject);
    EXPECT_EQ(QUrlQuery(url).queryItemValue(u"body"_s, QUrl::FullyDecoded), u"Grüße\r\n#1 = 🙂");
}

TEST(EmailDraft, whatIsTooLongIsCutBetweenWords) {
    EmailDraft fits{{u"a@b.c"_s}, u"short"_s, u"body"_s};
    EXPECT_EQ(fits.fit(), false);
    EmailDraft longBody{{u"a@b.c"_s}, u"short"_s, u"schöne Worte "_s.repeated(20000)};
    EXPECT_EQ(longBody.fit(), true);
    EXPECT_LE(longBody.url().size(), EmailDraft::mostUrlBytes);
    EXPECT_GT(longBody.url().size(), EmailDraft::mostUrlBytes - 300);
    EXPECT_TRUE(longBody.body.endsWith(u"Worte") || longBody.body.endsWith(u"schöne"));
    const QStringList many(2000, u"somebody@example.org"_s);
    EmailDraft longHead{many, QString(200000, u'ß'), u"🙂"_s.repeated(99999)};
    EXPECT_EQ(longHead.fit(), true);
    EXPECT_LE(longHead.url().size(), EmailDraft::mostUrlBytes);
    EXPECT_EQ(longHead.to, many);
    EXPECT_FALSE(longHead.body.isEmpty());
    EXPECT_FALSE(longHead.body.back().isHighSurrogate());
}

TEST(EmailDraft, noRecipientIsEverLeftOut) {
    for (const auto& [to, sentence] :
         {std::pair(QStringList(9000, u"somebody@example.org"_s), u"can't be handed 9000 recipients"_s),
          std::pair(QStringList(QString(100'000, u'x')), u"a recipient as long as this one"_s)}) {
        EmailDraft draft{to, u"short"_s, u"body"_s};
        const auto fitted = draft.fit();
        ASSERT_FALSE(fitted);
        EXPECT_TRUE(fitted.error().message.contains(sentence)) << qPrintable(fitted.error().message);
        EXPECT_EQ(draft.to, to);
    }
}

TEST(EventDraft, readsTheLinesOfAnEvent) {
    const auto draft = EventDraft::parse(
        u"Sure.\n- **Event:** Review: Q1\n**When:** 2026-03-05 9:30 (Thu)\n"
        "* Length: 1.5 hours\n**With:** Me, Dana Kim <d@example.org>, x@y.org,\n"
        "Event: another"_s);
    ASSERT_TRUE(draft);
    EXPECT_EQ(draft->title, u"Review: Q1");
    EXPECT_EQ(draft->start, QDateTime(QDate(2026, 3, 5), QTime(9, 30)));
    EXPECT_EQ(draft->minutes, 90);
    EXPECT_EQ(draft->with, (QStringList{u"Dana Kim <d@example.org>"_s, u"x@y.org"_s}));
    EXPECT_EQ(draft->names(), QStringList{u"Dana"_s});
    EXPECT_EQ(draft->emails(), (QStringList{u"d@example.org"_s, u"x@y.org"_s}));
    EXPECT_EQ(draft->whenText(), u"Thu, Mar 5 · 9:30 AM · 90 min");
    EXPECT_EQ(draft->invite().body,
              u"Hi Dana,\n\nDoes Thursday, March 5 at 9:30 AM work for our next call? "
              "I've held 90 minutes for it.\n\n");
}

TEST(EventDraft, guestsAreAListOfAddressesAsInAMail) {
    struct Row {
        QString with;
        QStringList guests;
        QStringList names;
        QStringList emails;
    };
    const QList<Row> rows{
        {uR"("Doe, Jane" <j@x.org>, Bob <b@y.org>)"_s,
         {uR"("Doe, Jane" <j@x.org>)"_s, u"Bob <b@y.org>"_s},
         {u"Jane"_s, u"Bob"_s},
         {u"j@x.org"_s, u"b@y.org"_s}},
        {uR"("Ann \"The, Boss\" Lee" <a@x.org>,i, "Kim")"_s,
         {uR"("Ann \"The, Boss\" Lee" <a@x.org>)"_s, uR"("Kim")"_s},
         {u"Boss\""_s, u"Kim"_s},
         {u"a@x.org"_s}},
        {uR"("me@fake.org" <j@x.org>)"_s, {uR"("me@fake.org" <j@x.org>)"_s}, {}, {u"j@x.org"_s}},
        {u"Dana (CTO, Acme) <d@x.org>; Team: Bo <b@y.org>, c@z.org;"_s,
         {u"Dana (CTO, Acme) <d@x.org>"_s, u"Bo <b@y.org>"_s, u"c@z.org"_s},
         {u"Dana"_s, u"Bo"_s},
         {u"d@x.org"_s, u"b@y.org"_s, u"c@z.org"_s}},
        {u"Jim \"Bo\" O'Neill <j@x.org>, 5\" Dan, <a, (b"_s,
         {u"Jim \"Bo\" O'Neill <j@x.org>"_s, u"5\" Dan"_s, u"<a"_s, u"(b"_s},
         {u"Jim"_s, u"5\""_s, u"<a"_s, u"(b"_s},
         {u"j@x.org"_s}},
        {u"Jane <jane@x.org, Bob <bob@x.org>"_s,
         {u"Jane <jane@x.org"_s, u"Bob <bob@x.org>"_s},
         {u"Jane"_s, u"Bob"_s},
         {u"jane@x.org"_s, u"bob@x.org"_s}},
        {u"<jane@x.org, b@y.org>, Ann (CTO, Bo (dev, old) <c@z.org>"_s,
         {u"<jane@x.org"_s, u"b@y.org>"_s, u"Ann (CTO"_s, u"Bo (dev, old) <c@z.org>"_s},
         {u"Ann"_s, u"Bo"_s},
         {u"jane@x.org"_s, u"b@y.org"_s, u"c@z.org"_s}},
        {u"Jane \"JJ <j@x.org>, Bob \"Bo\" Lee <b@y.org>, 5\" Al, Di \"Q\""_s,
         {u"Jane \"JJ <j@x.org>"_s, u"Bob \"Bo\" Lee <b@y.org>"_s, u"5\" Al"_s, u"Di \"Q\""_s},
         {u"Jane"_s, u"Bob"_s, u"5\""_s, u"Di"_s},
         {u"j@x.org"_s, u"b@y.org"_s}},
        {u"Pat <pat.o'neill@x.org>, jürgen@x.org, o'neill@x.org"_s,
         {u"Pat <pat.o'neill@x.org>"_s, u"jürgen@x.org"_s, u"o'neill@x.org"_s},
         {u"Pat"_s},
         {u"pat.o'neill@x.org"_s, u"o'neill@x.org"_s}},
        {u"\"\", \",\" <>, ,; me"_s, {u"\"\""_s, u"\",\" <>"_s}, {}, {}},
    };
    for (const Row& row : rows) {
        const auto draft = EventDraft::parse(u"Event: x\nWhen: 2026-03-05 14:00\nWith: "_s + row.with);
        ASSERT_TRUE(draft);
        EXPECT_EQ(draft->with, row.guests) << row.with.toStdString();
        EXPECT_EQ(draft->names(), row.names) << row.with.toStdString();
        EXPECT_EQ(draft->emails(), row.emails) << row.with.toStdString();
    }
    // Each of these could begin something that ends.
    const QString open = u"(\"<"_s.repeated(200'000);
    EXPECT_TRUE(EventDraft::parse(u"Event: x\nWhen: 2026-03-05 14:00\nWith: "_s + open));
}

TEST(EventDraft, whatCannotBeMeantIsRefusedAndWhatMayBeASlipIsTold) {
    struct Row {
        QString when;
        QString length;
        QString fault;
        QStringList oddities;
    };
    const QDateTime now(QDate(2026, 3, 5), QTime(9, 0));
    const QList<Row> rows{
        {u"2026-03-05 14:00"_s, u"30"_s, {}, {}},
        {u"9999-12-31 23:50"_s, u"30"_s, u"The year 9999 can't be meant"_s, {}},
        {u"0001-01-01 00:00"_s, u"30"_s, u"The year 0001 can't be meant"_s, {}},
        {u"2026-03-05 14:00"_s, u"0 min"_s, u"An event of no length can't be meant"_s, {}},
        {u"2026-03-05 14:00"_s, u"0.5 min"_s, u"An event of no length can't be meant"_s, {}},
        {u"2026-03-05 14:00"_s, u"1"_s, {}, {u"It takes only a minute."_s}},
        {u"2026-03-05 08:00"_s, u"4"_s, {}, {u"It takes only 4 minutes."_s, u"It is over already."_s}},
        {u"2026-03-05 08:45"_s, u"30"_s, {}, {}},
        {u"2026-03-05 14:00"_s, u"1440"_s, {}, {}},
        {u"2026-03-05 14:00"_s, u"25 h"_s, {}, {u"It is over a day long."_s}},
        {u"2026-03-05 14:00"_s, u"9000 h"_s, u"An event of more than a year can't be meant"_s, {}},
        {u"2062-03-05 14:00"_s, u"5"_s, {}, {u"It is in 2062."_s}},
    };
    for (const Row& row : rows) {
        const auto draft = EventDraft::parse(u"Event: x\nWhen: %1\nLength: %2"_s.arg(row.when, row.length));
        ASSERT_TRUE(draft);
        const QString fault = draft->fault().value_or(QString());
        EXPECT_TRUE(row.fault.isEmpty() ? fault.isEmpty() : fault.startsWith(row.fault)) << qPrintable(fault);
        if (fault.isEmpty()) {
            EXPECT_EQ(draft->oddities(now), row.oddities) << row.when.toStdString();
        }
    }
}

TEST(EventDraft, theFirstEventThatCanBeReadCounts) {
    const QString second = u"**Event:** Second\n**When:** 2026-03-06 10:00\n**With:** Bo\n"_s;
    for (const char* first :
         {"**Event:** First\n**When:** Thursday\n**Length:** 2h\n**With:** Ann\n\n",
          "Event:\nWhen: 2026-02-30 9:00\n", "Event: First\nWhen: soon\nEvent: x\nWhen:\n"}) {
        const auto draft =
            EventDraft::parse(QString::fromUtf8(first) + second + u"Event: Third\nWhen: 2026-03-07 9:00"_s);
        ASSERT_TRUE(draft) << first;
        EXPECT_EQ(draft->title, u"Second");
        EXPECT_EQ(draft->start, QDateTime(QDate(2026, 3, 6), QTime(10, 0)));
        EXPECT_EQ(draft->minutes, 30);
        EXPECT_EQ(draft->with, QStringList{u"Bo"_s});
    }
}

TEST(EventDraft, lengthsAsPeopleWriteThem) {
    const QList<std::pair<QString, int>> rows{
        {u"2h"_s, 120},
        {u"45"_s, 45},
        {u"soon"_s, 30},
        {u"90 min"_s, 90},
        {u"0.5 Hours"_s, 30},
        {u"24 h"_s, 1440},
        {u"25 h"_s, 1500},
        {u"9999999999 min"_s, std::numeric_limits<int>::max()},
        {u"9"_s.repeated(400) + u'h', std::numeric_limits<int>::max()},
    };
    for (const auto& [length, minutes] : rows) {
        const auto draft = EventDraft::parse(u"Event: x\nWhen: 2026-03-05T14:00\nLength: "_s + length);
        ASSERT_TRUE(draft);
        EXPECT_EQ(draft->minutes, minutes) << length.toStdString();
    }
}

TEST(EventDraft, aTitleIsWhatCanBeSeenOfIt) {
    const QList<std::pair<QString, QString>> rows{
        {u"\u0007Bud\u200bget\u202e \u200b"_s, u"Budget"_s},
        {u"\u200dA\u00a0B\u2800"_s, u"A B"_s},
        {u"👩\u200d💻 می\u200cخواهم"_s, u"👩\u200d💻 می\u200cخواهم"_s},
    };
    for (const auto& [written, seen] : rows) {
        const auto draft = EventDraft::parse(u"Event: %1\nWhen: 2026-03-05 14:00"_s.arg(written));
        ASSERT_TRUE(draft) << qPrintable(written);
        EXPECT_EQ(draft->title, seen);
    }
    const auto tasks = ActionItem::parse(u"- [ ] \u200b\n- [ ] M\u200be — \u0001call (2026-03-09)\u200b"_s,
                                         {}, QDate(2026, 3, 5));
    ASSERT_EQ(tasks.size(), 2);
    EXPECT_EQ(tasks[0].task, QString());
    EXPECT_EQ(tasks[1].task, u"call");
    EXPECT_EQ(tasks[1].due, QDate(2026, 3, 9));
    EXPECT_TRUE(tasks[1].include);
}

TEST(EventDraft, withoutTitleOrTimeThereIsNone) {
    for (const QString& text :
         {u"Event: x"_s, u"Event:\nWhen: 2026-03-05 14:00"_s, u"When: 2026-03-05 14:00"_s,
          u"Event: x\nWhen: 2026-02-30 14:00"_s, u"Event: x\nWhen: 2026-03-05 25:00"_s,
          u"Event: x\nWhen: Thursday"_s, u"Event: \u0001\nWhen: 2026-03-05 14:00"_s,
          u"Event: \u200b\u2060\u3164\ufe0f\nWhen: 2026-03-05 14:00"_s, QString()}) {
        EXPECT_FALSE(EventDraft::parse(text)) << text.toStdString();
    }
}

}  // namespace
