#include "LibraryFixture.h"

using namespace lumbro;

namespace {

class VoiceShelfTest : public test::LibraryTest {};

}  // namespace

TEST_F(VoiceShelfTest, readsVoicesSortedByName) {
    m_folder.write(u"voices/a.md"_s, "---\nname: Zoe\n---\nLong.");
    m_folder.write(u"voices/b.md"_s, "Plain.");
    m_folder.write(u"voices/bad.md"_s, "\xff");
    m_folder.write(u"voices/c.txt"_s, "no");
    m_library.reloadVoices();
    EXPECT_EQ(m_library.voices(),
              (QList<Voice>{{u"a"_s, u"Zoe"_s, u"Long."_s}, {u"b"_s, u"b"_s, u"Plain."_s}}));
}

TEST_F(VoiceShelfTest, savesSamplesAsAVoice) {
    m_library.open();
    const auto voice = m_library.saveVoice(u"Dana Kim!"_s, u"Hi %1,\nok."_s);
    ASSERT_TRUE(voice);
    EXPECT_EQ(voice->id, u"dana-kim"_s);
    EXPECT_EQ(voice->name, u"Dana Kim!"_s);
    EXPECT_EQ(m_folder.read(u"voices/dana-kim.md"_s).toStdString(), R"(---
name: Dana Kim!
---
Write like the samples below. Match their sentence length, rhythm, word choice, and how they open and close.
Never copy a sentence from them word for word.

## Samples

Hi %1,
ok.
)");
    EXPECT_EQ(m_library.saveVoice(u"!"_s, u"x"_s)->id, u"my-voice"_s);
    QDir(m_folder.path(u"voices"_s)).removeRecursively();
    EXPECT_FALSE(m_library.saveVoice(u"lost"_s, u"x"_s));
}
