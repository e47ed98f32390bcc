#include "LumbroCore/Literals.h"
#include "ask/formats/AskScope.h"
#include "library/formats/SidebarItem.h"
#include "meetings/formats/PrepEvent.h"

#include <gtest/gtest.h>

namespace lumbro {

namespace {

TEST(TokenTest, scopesReadWhatTheyWrite) {
    for (const auto* const good :
         {"capture:2026-03-02-0914-meeting", "person:dana-kim", "company:a.b", "project:x", "library"}) {
        EXPECT_EQ(AskScope::fromToken(QString::fromLatin1(good)).value().token(), QLatin1String(good));
    }
    EXPECT_EQ(AskScope::fromToken(u"\t person:a:b "_s)->id, u"a:b"_s);
    for (const auto* const bad :
         {"", "person", "person:", "Person:a", "library:x", "day:1", ":a", "people"}) {
        EXPECT_FALSE(AskScope::fromToken(QString::fromLatin1(bad))) << bad;
    }
}

TEST(TokenTest, pagesReadWhatTheyWrite) {
    for (const auto* const good : {"capture:x", "person:a:b", "project:p", "company:c.d", "today", "ask",
                                   "promises", "ideas", "engines", "people", "companies"}) {
        EXPECT_EQ(SidebarItem::fromToken(QString::fromLatin1(good)).value().token(), QLatin1String(good));
    }
    for (const auto* const bad : {"", "capture", "capture:", "today:x", "promises:", "Today", "library"}) {
        EXPECT_FALSE(SidebarItem::fromToken(QString::fromLatin1(bad))) << bad;
    }
}

TEST(PrepEventTest, aMovedMeetingIsANewOne) {
    PrepEvent event;
    event.id = u"e1"_s;
    event.start = QDateTime::fromSecsSinceEpoch(1772443800);
    EXPECT_EQ(event.key(), u"e1@1772443800"_s);
    event.attendees = {{u"Dana"_s, u"dana@example.com"_s}, {u"Kim"_s, {}}};
    EXPECT_EQ(event.attendeeNames(), (QStringList{u"Dana"_s, u"Kim"_s}));
    EXPECT_EQ(event.attendeeEmails(), QStringList{u"dana@example.com"_s});
}

}  // namespace

}  // namespace lumbro
