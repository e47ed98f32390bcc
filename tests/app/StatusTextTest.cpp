#include "LumbroCore/Literals.h"
#include "app/StatusText.h"

#include <gtest/gtest.h>

namespace lumbro {

namespace {

const QDateTime now(QDate(2026, 3, 2), QTime(9, 0));

PrepEvent event(const QString& title, int startsIn, int lasts = 1800) {
    PrepEvent made;
    made.title = title;
    made.start = now.addSecs(startsIn);
    made.end = made.start.addSecs(lasts);
    return made;
}

TEST(StatusTextTest, tellsTheNextEventOfTheDay) {
    const QString fits = u"Weekly planning and sync"_s;  // 24 characters
    ASSERT_EQ(fits.size(), 24);
    struct Row {
        QList<PrepEvent> events;
        QString text;
    };
    const std::vector<Row> rows{
        {{}, {}},
        {{event(u"Standup"_s, 60)}, u" Standup in 1m"_s},
        {{event(u"Standup"_s, 61)}, u" Standup in 2m"_s},
        {{event(u"Standup"_s, 59 * 60)}, u" Standup in 59m"_s},
        {{event(u"Standup"_s, 59 * 60 + 30)}, u" Standup · 9:59 AM"_s},
        {{event(u"Standup"_s, 5 * 3600)}, u" Standup · 2:00 PM"_s},
        {{event(u"Standup"_s, 0)}, u" Standup · now"_s},
        {{event(u"Standup"_s, -600)}, u" Standup · now"_s},
        {{event(u"Over"_s, -1800), event(u"Standup"_s, 60)}, u" Standup in 1m"_s},
        {{event(u"Late"_s, 7200), event(u"Standup"_s, 60)}, u" Late · 11:00 AM"_s},
        {{event(u"Tomorrow"_s, 24 * 3600)}, {}},
        {{event(u"Since yesterday"_s, -10 * 3600, 24 * 3600)}, {}},
        {{event(u"  "_s + fits + u"\n"_s, 60)}, u' ' + fits + u" in 1m"_s},
        {{event(fits + u'!', 60)}, u" Weekly planning and syn… in 1m"_s},
        {{event(u"👩‍💻"_s.repeated(24), 60)}, u' ' + u"👩‍💻"_s.repeated(24) + u" in 1m"_s},
        {{event(u"👩‍💻"_s.repeated(25), 60)}, u' ' + u"👩‍💻"_s.repeated(23) + u"… in 1m"_s},
        {{event(u"Quarterly business and     the rest"_s, 60)}, u" Quarterly business and… in 1m"_s},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(statusText(row.events, now), row.text);
    }
}

}  // namespace

}  // namespace lumbro
