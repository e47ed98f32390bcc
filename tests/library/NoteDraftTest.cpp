#include "LibraryFixture.h"
#include "library/NoteDraft.h"

using namespace lumbro;
using namespace std::chrono_literals;

namespace {

class NoteDraftTest : public test::LibraryTest {
  protected:
    NoteDraftTest() { m_folder.write(u"notes.md"_s, "first"); }

    std::shared_ptr<NoteDraft> draft() { return NoteDraft::of({m_folder.path(), {}}, m_clock); }
};

}  // namespace

TEST_F(NoteDraftTest, isOneForAllItsViews) {
    auto one = draft();
    one->setText(u"typed"_s);
    EXPECT_EQ(draft(), one);
    one.reset();
    const auto fresh = draft();
    EXPECT_EQ(fresh->text(), u"typed"_s);
    EXPECT_FALSE(fresh->saved() || fresh->edited());
}

TEST_F(NoteDraftTest, everyChangeIsOnDisk) {
    const auto notes = draft();
    const test::SignalCounter texts(notes.get(), &NoteDraft::textChanged);
    notes->setText(u"first"_s);
    EXPECT_FALSE(notes->saved());
    notes->setText(u"fürst"_s);
    EXPECT_EQ(m_folder.read(u"notes.md"_s), "fürst");
    EXPECT_TRUE(notes->saved());
    EXPECT_EQ(texts.count(), 1);
}

TEST_F(NoteDraftTest, aKeystrokeWinsForTwoSeconds) {
    const auto notes = draft();
    m_folder.write(u"notes.md"_s, "outside");
    notes->refresh();
    EXPECT_EQ(notes->text(), u"outside"_s);
    EXPECT_FALSE(notes->saved());

    notes->setText(u"typed"_s);
    m_folder.write(u"notes.md"_s, "agent");
    m_clock.advance(2s);
    notes->refresh();
    EXPECT_EQ(notes->text(), u"typed"_s);
    m_clock.advance(1ms);
    notes->refresh();
    EXPECT_EQ(notes->text(), u"agent"_s);
    QFile::remove(m_folder.path(u"notes.md"_s));
    notes->refresh();
    EXPECT_EQ(notes->text(), QString());
    EXPECT_FALSE(m_folder.has(u"notes.md"_s));  // What comes from outside is not written back.
}

TEST_F(NoteDraftTest, neverTypesOverNotesThatItCouldNotRead) {
    m_folder.write(u"notes.md"_s, "gr\xfc\xdf");
    const auto notes = draft();
    EXPECT_EQ(notes->text(), QString());
    notes->setText(u"a"_s);
    notes->setText(u"ab"_s);
    EXPECT_EQ(m_folder.read(u"notes.md"_s), "ab");
    EXPECT_EQ(m_folder.read(u"notes.md.broken"_s), "gr\xfc\xdf");
    EXPECT_FALSE(m_folder.has(u"notes.md.broken-2"_s));
}
