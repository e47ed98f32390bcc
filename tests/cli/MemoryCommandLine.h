#pragma once

#include "tests/cli/CommandLine.h"

#include <gtest/gtest.h>

namespace lumbro::test {

inline const QString meeting = u"2026-03-02-0914-meeting"_s;

/// A memory with two people, a project, four promises and an idea, once it is filled, and the program that
/// works with it.
class MemoryCommandsTest : public ::testing::Test {
  protected:
    MemoryCommandsTest() {
        line.set(u"LUMBRO_NOW"_s, u"2026-03-05T12:00:00"_s);
        line.set(u"LC_ALL"_s, u"C.UTF-8"_s);
    }

    void fill() const {
        memory(u"people/ann-lee.md"_s,
               "---\nname: Ann Lee\ncompany: Acme\nrole: CTO\nemail: ann@acme.com\nlast_seen: "
               "2026-03-02\n---\n\n"
               "# Ann Lee\n\n## About\n- likes tea\n\n## Timeline\n"
               "- 2026-03-02 · [[captures/2026-03-02-0914-meeting/transcript|Weekly]] — agreed\n");
        memory(u"people/anton.md"_s, "---\nname: Anton\nlast_seen: 2026-03-04\n---\n");
        memory(u"projects/apollo.md"_s,
               "---\nname: Apollo\nstatus: live\n---\n\n# Apollo\n\n## About\n- goes up\n");
        memory(u"promises.md"_s,
               "# Promises\n\n"
               "- [ ] send the deck · Me → [[people/ann-lee|Ann Lee]] · due 2026-03-03 · "
               "[[captures/2026-03-02-0914-meeting/transcript|Weekly]] · 2026-03-02 ^p-aaaaaa\n"
               "- [ ] reply · [[people/ann-lee|Ann Lee]] → Me · due Friday · 2026-03-05 ^p-bbbbbb\n"
               "- [x] call Bo · Me → Bo · 2026-03-01 ^p-cccccc\n"
               "- [ ] buy milk · Me → Them · 2026-03-05\n");
        memory(u"ideas.md"_s, "# Ideas\n\n- **Why tea** — it works · 2026-03-02 ^i-aaaaaa\n");
    }
    void memory(const QString& name, const QByteArray& bytes) const {
        line.home().write(u"Quillet/memory/"_s + name, bytes);
    }
    QByteArray file(const QString& name) const { return line.home().read(u"Quillet/memory/"_s + name); }
    void addMeeting(const QString& id = meeting) const {
        line.addCapture(id, "Weekly", "2026-03-02T08:14:00Z");
        line.write(id, u"notes.md"_s, QByteArray("word ").repeated(20));
    }

    CommandLine line;
};

}  // namespace lumbro::test
