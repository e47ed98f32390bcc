#include "LumbroCore/Literals.h"
#include "memory/formats/EnglishDate.h"
#include "memory/formats/NudgeDraft.h"
#include "memory/formats/PromiseDates.h"
#include "memory/formats/PromiseItem.h"
#include "memory/formats/PromiseSides.h"

#include <QLocale>

#include <gtest/gtest.h>

namespace lumbro {
namespace {

QDate day(const QString& text) {
    return PromiseDates::day(text).value_or(QDate());
}

TEST(PromiseDatesTest, phrasesMeanDays) {
    struct Row {
        QString phrase;
        QString madeOn;
        QString meant;
    };
    // 2 March 2026 is a Monday.
    const QList<Row> rows{
        {u""_s, u"2026-03-02"_s, u""_s},
        {u"soon"_s, u"2026-03-02"_s, u""_s},
        {u"2026-03-01 at noon"_s, u"2026-03-02"_s, u"2026-03-01"_s},
        {u"2026-02-30"_s, u"2026-03-02"_s, u""_s},
        {u"by end of day tomorrow"_s, u"2026-03-02"_s, u"2026-03-02"_s},
        {u"eod"_s, u"2026-03-02"_s, u"2026-03-02"_s},
        {u"eod tomorrow"_s, u"2026-03-02"_s, u"2026-03-03"_s},
        {u"Tonight"_s, u"2026-03-02"_s, u"2026-03-02"_s},
        {u"some time next week"_s, u"2026-03-02"_s, u"2026-03-09"_s},
        {u"eow"_s, u"2026-03-02"_s, u"2026-03-06"_s},
        {u"end of week"_s, u"2026-03-06"_s, u"2026-03-06"_s},
        {u"this week"_s, u"2026-03-07"_s, u"2026-03-13"_s},
        {u"Friday"_s, u"2026-03-06"_s, u"2026-03-13"_s},
        {u"next friday"_s, u"2026-03-05"_s, u"2026-03-13"_s},
        {u"next friday"_s, u"2026-03-02"_s, u"2026-03-06"_s},
        {u"wed"_s, u"2026-03-02"_s, u"2026-03-04"_s},
        {u"wed morning"_s, u"2026-03-02"_s, u"2026-03-04"_s},
        {u"after the wedding"_s, u"2026-03-02"_s, u""_s},
        {u"monday or sunday"_s, u"2026-03-02"_s, u"2026-03-08"_s},
        {u"Mar 1"_s, u"2026-11-15"_s, u"2027-03-01"_s},
        {u"March 2nd, 2031"_s, u"2026-03-02"_s, u"2026-03-02"_s},
        {u"Feb 29"_s, u"2026-03-02"_s, u""_s},
        {u"by the 3rd of April"_s, u""_s, u"2026-04-03"_s},
    };
    for (const Row& row : rows) {
        const auto meant =
            PromiseDates::parse(row.phrase, PromiseDates::day(row.madeOn), day(u"2026-03-03"_s));
        EXPECT_EQ(meant ? PromiseDates::text(*meant) : QString(), row.meant) << row.phrase.toStdString();
    }
}

TEST(EnglishDateTest, theFirstMonthAndDayIsFound) {
    struct Row {
        QString text;
        int month;
        int day;
    };
    const QList<Row> rows{
        {u"March 3rd"_s, 3, 3},
        {u"the 3rd of March"_s, 3, 3},
        {u"3 Mar"_s, 3, 3},
        {u"by Mar 3, please"_s, 3, 3},
        {u"3/14"_s, 3, 14},
        {u"14/3/2026"_s, 3, 14},
        {u"Sept. 5"_s, 9, 5},
        {u"SEPTEMBER the fifth"_s, 9, 5},
        {u"thirty-first of May"_s, 5, 31},
        {u"3rd day of june 2027"_s, 6, 3},
        {u"2026-3-5"_s, 3, 5},
        {u"3-14-2026"_s, 3, 14},
        {u"ready 5pm on 4. July at 10:30"_s, 7, 4},
        {u"Feb 30 or Mar 1"_s, 3, 1},
        {u"Feb 29"_s, 2, 29},
        {u"version 2.5 by Dec 24th"_s, 12, 24},
        {u"2nd of next month"_s, 0, 0},
        {u"March 2026"_s, 0, 0},
        {u"a second march"_s, 0, 0},
        {u"we may 3x it"_s, 0, 0},
        {u"24/7 support"_s, 0, 0},
        {u"13/13, 0/5, 5/0 and March 0"_s, 0, 0},
        {u"March 10:30"_s, 0, 0},
        {u"$3 March"_s, 0, 0},
        {u"marching 3"_s, 0, 0},
        {u"99999999999999999999 March 99999999999999999999"_s, 0, 0},
    };
    for (const Row& row : rows) {
        const EnglishDate found = EnglishDate::find(row.text).value_or(EnglishDate());
        EXPECT_EQ(found, (EnglishDate{row.month, row.day})) << row.text.toStdString();
    }
}

PromiseItem promise(const QString& due, const QString& made = u"2026-03-02"_s) {
    PromiseItem item;
    item.id = due;
    item.owner = u"Me"_s;
    item.due = due;
    item.date = made;
    return item;
}

TEST(PromiseItemTest, urgencyAndTextsFollowFromTheDay) {
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    struct Row {
        QString due;
        QString today;
        PromiseItem::Urgency urgency;
        QString dueText;
        QString ageText;
    };
    using enum PromiseItem::Urgency;
    const QList<Row> rows{
        {u""_s, u"2026-03-02"_s, open, u""_s, u"today"_s},
        {u"soon"_s, u"2026-03-04"_s, open, u"Due soon"_s, u"2 days ago"_s},
        {u"soon"_s, u"2026-03-05"_s, waiting, u"Due soon"_s, u"3 days ago"_s},
        {u"Friday"_s, u"2026-03-02"_s, open, u"Due Fri"_s, u"today"_s},
        {u"Friday"_s, u"2026-03-03"_s, soon, u"Due Fri"_s, u"yesterday"_s},
        {u"Friday"_s, u"2026-03-05"_s, soon, u"Due tomorrow"_s, u"3 days ago"_s},
        {u"Friday"_s, u"2026-03-06"_s, today, u"Due today"_s, u"4 days ago"_s},
        {u"Friday"_s, u"2026-03-07"_s, overdue, u"1 day late"_s, u"5 days ago"_s},
        {u"Friday"_s, u"2026-03-09"_s, overdue, u"3 days late"_s, u"7 days ago"_s},
        {u"March 9"_s, u"2026-03-02"_s, open, u"Due Mar 9"_s, u"today"_s},
        {u"tomorrow"_s, u"2026-03-01"_s, soon, u"Due Tue"_s, u"today"_s},
    };
    for (const Row& row : rows) {
        const PromiseItem item = promise(row.due);
        EXPECT_EQ(item.urgency(day(row.today)), row.urgency) << (row.due + row.today).toStdString();
        EXPECT_EQ(item.dueText(day(row.today)), row.dueText) << (row.due + row.today).toStdString();
        EXPECT_EQ(item.ageText(day(row.today)), row.ageText) << (row.due + row.today).toStdString();
    }
    EXPECT_EQ(promise(u"x"_s, u"bad"_s).ageText(day(u"2026-03-02"_s)), QString());
    EXPECT_EQ(promise(u"x"_s, u"bad"_s).urgency(day(u"2026-03-02"_s)), open);
}

TEST(PromiseItemTest, theOtherSideIsTheOneThatIsNotTheUser) {
    PromiseItem item = promise({});
    item.recipient = u"[[people/dana-kim|Dana Kim]]"_s;
    EXPECT_TRUE(item.isMine());
    EXPECT_EQ(item.otherName(), u"Dana Kim"_s);
    EXPECT_EQ(item.otherSlug(), u"dana-kim"_s);
    std::swap(item.owner, item.recipient);
    EXPECT_FALSE(item.isMine());
    EXPECT_EQ(item.otherName(), u"Dana Kim"_s);
    EXPECT_EQ(item.involvesSlugs(), QStringList{u"dana-kim"_s});
    item.owner = u" ME "_s;
    EXPECT_TRUE(item.isMine());
    item.owner.clear();
    EXPECT_TRUE(item.isMine());
    EXPECT_EQ(item.otherSlug(), std::nullopt);

    item.owner = u"[[people/dana-kim|Dana Kim]]"_s;
    item.text = u"Send the numbers"_s;
    EXPECT_EQ(
        NudgeDraft::of(item, u"d@acme.com"_s),
        (NudgeDraft{u"d@acme.com"_s, u"Quick follow-up"_s,
                    u"Hi Dana,\n\nFollowing up on this: you said you'd send the numbers. Any update?\n\n"
                    "Thanks!"_s}));
}

TEST(PromiseSidesTest, pressingPromisesComeFirst) {
    const QDate today = day(u"2026-03-05"_s);
    QList<PromiseItem> promises{promise(u"some day"_s),   promise(u"2026-03-20"_s),
                                promise(u"2026-03-05"_s), promise(u"2026-03-04"_s),
                                promise(u"2026-03-03"_s), promise(u"2026-03-06"_s),
                                promise(u"done"_s),       promise(u"hidden, today"_s)};
    promises[6].done = true;
    promises[7].snoozedUntil = u"2026-03-06"_s;
    promises.append(promise(u"theirs"_s));
    promises.last().owner = u"Dana"_s;

    const auto ids = [](const QList<PromiseItem>& items) {
        QStringList list;
        for (const PromiseItem& item : items) {
            list.append(item.id);
        }
        return list;
    };
    EXPECT_EQ(ids(duePromises(promises, false, today)),
              (QStringList{u"2026-03-03"_s, u"2026-03-04"_s, u"2026-03-05"_s}));
    EXPECT_EQ(
        ids(duePromises(promises, true, today)),
        (QStringList{u"2026-03-03"_s, u"2026-03-04"_s, u"2026-03-05"_s, u"2026-03-06"_s, u"some day"_s}));
    EXPECT_TRUE(ids(duePromises(promises, true, today.addDays(1))).contains(u"hidden, today"_s));

    const PromiseGroups mine = PromiseGroups::of(promises, PromiseSide::mine, today);
    QStringList groups;
    for (const PromiseGroups::Group& group : mine.open) {
        groups.append(heading(group.urgency) + u": "_s + ids(group.promises).join(u", "_s));
    }
    EXPECT_EQ(groups,
              (QStringList{u"Overdue: hidden, today, 2026-03-03, 2026-03-04"_s, u"Due today: 2026-03-05"_s,
                           u"Due soon: 2026-03-06"_s, u"Waiting: some day"_s, u"Open: 2026-03-20"_s}));
    EXPECT_EQ(ids(mine.done), QStringList{u"done"_s});
    EXPECT_EQ(ids(PromiseGroups::of(promises, PromiseSide::theirs, today).open.first().promises),
              QStringList{u"theirs"_s});
}

}  // namespace
}  // namespace lumbro
