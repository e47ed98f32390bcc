#include "LumbroCore/Literals.h"
#include "library/model/LibraryState.h"

#include <gtest/gtest.h>

namespace lumbro {

namespace {

SidebarItem person(int number) {
    return {SidebarItem::Kind::person, QString::number(number)};
}

class LibraryStateTest : public testing::Test {
  protected:
    int shown = 0;
    LibraryState state{[this] { ++shown; }};
};

TEST_F(LibraryStateTest, goesBackAndForwardWithoutRecordingIt) {
    for (int i = 0; i < 3; ++i) {
        state.navigate(person(i));
    }
    state.navigate(person(2));
    EXPECT_EQ(state.back().size(), 2) << "the same page again is no move";
    state.goBack();
    state.goBack();
    state.goBack();
    EXPECT_EQ(state.selection(), person(0));
    EXPECT_TRUE(state.back().isEmpty());
    EXPECT_EQ(state.forward(), (QList<SidebarItem>{person(2), person(1)}));
    state.goForward();
    EXPECT_EQ(state.selection(), person(1));
    EXPECT_EQ(state.back(), QList<SidebarItem>{person(0)});
    state.navigate(person(9));
    EXPECT_TRUE(state.forward().isEmpty()) << "a new move ends the way forward";
}

TEST_F(LibraryStateTest, keepsFiftyStepsOfHistory) {
    for (int i = 0; i <= 51; ++i) {
        state.navigate(person(i));
    }
    EXPECT_EQ(state.back().size(), 50);
    EXPECT_EQ(state.back().first(), person(1));
}

TEST_F(LibraryStateTest, navigatingHidesResultsAndMovesToTheMoment) {
    state.setSearch(u"dana"_s);
    EXPECT_TRUE(state.showResults());
    state.navigate(SidebarItem::capture(u"c"_s), LibraryTab::transcript, 12.5);
    EXPECT_FALSE(state.showResults());
    const auto first = state.focus();
    EXPECT_EQ(first->seconds, 12.5);
    state.navigate(SidebarItem::capture(u"c"_s), LibraryTab::transcript, 12.5);
    EXPECT_NE(state.focus(), first) << "asking twice scrolls twice";
    state.navigate(SidebarItem::capture(u"c"_s), LibraryTab::handoffs, 99);
    EXPECT_EQ(state.focus()->seconds, 12.5);
    EXPECT_EQ(shown, 3);
}

TEST_F(LibraryStateTest, blanksSearchForNothing) {
    state.setSearch(u" \t"_s);
    EXPECT_FALSE(state.showResults());
    state.setSearch(u"dana"_s);
    state.setSearch(QString());
    EXPECT_FALSE(state.showResults());
}

TEST_F(LibraryStateTest, opensOnTodayTheFirstTime) {
    state.open();
    EXPECT_EQ(state.selection()->kind, SidebarItem::Kind::today);
    state.navigate(person(1));
    state.open();
    EXPECT_EQ(state.selection(), person(1));
}

}  // namespace

}  // namespace lumbro
