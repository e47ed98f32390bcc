#include "LumbroCore/Literals.h"
#include "actions/ActionLinks.h"

#include <gtest/gtest.h>

using namespace lumbro;

TEST(ActionLinks, onlyTheWebIsOpened) {
    struct Row {
        const char* url;
        /// Null: nothing is opened.
        const char* opened;
    };
    const Row rows[] = {
        {"https://x.test/1?a=b#c", "https://x.test/1?a=b#c"},
        {"HTTP://x.test", "http://x.test"},
        {"javascript:alert(1)", nullptr},
        {"file:///etc/passwd", nullptr},
        {"httpx://x.test", nullptr},
        {"http-evil:run", nullptr},
        {"https:", nullptr},
        {"https:///etc/passwd", nullptr},
        {"//x.test", nullptr},
        {"mailto:a@x.test", nullptr},
        {"data:text/html,https://x.test", nullptr},
        {"x.test", nullptr},
        {"https://x.test/ javascript:1", nullptr},
    };
    for (const Row& row : rows) {
        QList<QUrl> opened;
        const ActionLinks links([&](const QUrl& url) {
            opened << url;
            return true;
        });
        const ActionRun run{.app = u"Own Thing"_s, .items = {{}, {.url = QString::fromLatin1(row.url)}}};
        EXPECT_EQ(links.canOpen(run), row.opened != nullptr) << row.url;
        EXPECT_EQ(links.open(run), row.opened != nullptr) << row.url;
        EXPECT_EQ(opened, row.opened ? QList<QUrl>{QUrl(QString::fromLatin1(row.opened))} : QList<QUrl>())
            << row.url;
    }
}

TEST(ActionLinks, withoutAnItemOnTheWebTheAppIsOpened) {
    QStringList asked;
    bool hasApp = false;
    const ActionLinks links([](const QUrl&) { return true; },
                            [&](const QString& scheme) {
                                asked << scheme;
                                return hasApp;
                            });
    const ActionRun run{.app = u"Slack"_s, .items = {{.url = u"javascript:1"_s}}};
    EXPECT_EQ(links.link(run), QUrl(u"https://app.slack.com"_s));
    hasApp = true;
    EXPECT_EQ(links.link(run), QUrl(u"slack://open"_s));
    EXPECT_EQ(links.link({.app = u"Gmail"_s}), QUrl(u"https://mail.google.com/mail/#drafts"_s));
    EXPECT_EQ(asked, (QStringList{u"slack"_s, u"slack"_s}));
    EXPECT_FALSE(links.canOpen({.app = u"slack"_s}));
}
