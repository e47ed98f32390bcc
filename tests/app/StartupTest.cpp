#include "app/Startup.h"

#include <ranges>

#include <gtest/gtest.h>

namespace lumbro {

namespace {

TEST(StartupTest, stepsRunInTheirOrderWhateverFailsOrIsAbsent) {
    const QStringList expected{
        u"activationPolicy"_s, u"library"_s,      u"textServices"_s, u"pill"_s,         u"dictation"_s,
        u"librarianCatchUp"_s, u"callDetector"_s, u"meetingPrep"_s,  u"dailyIdeas"_s,   u"promiseReminder"_s,
        u"sessionImporter"_s,  u"engineInbox"_s,  u"connectors"_s,   u"actionRunner"_s, u"ask"_s,
        u"hotKeys"_s,          u"statusItem"_s,   u"onboarding"_s,   u"speechAssets"_s,
    };
    EXPECT_EQ(Startup::order(), expected);

    QStringList ran;
    Startup startup;
    for (const QString& name : expected | std::views::reverse) {
        if (name == u"pill") {
            continue;
        }
        startup.set(name, [&ran, name]() -> Result<> {
            ran.append(name);
            if (name == u"library") {
                return fail(u"The folder cannot be made."_s);
            }
            return {};
        });
    }
    startup.set(u"ask"_s, Startup::Step());
    QStringList present = expected;
    present.removeOne(u"pill"_s);
    present.removeOne(u"ask"_s);
    EXPECT_EQ(startup.run(), present);
    EXPECT_EQ(ran, present);
}

}  // namespace

}  // namespace lumbro
