#include "cli/Table.h"
#include "tests/cli/CommandLine.h"
#include "tests/cli/Terminal.h"

#include <gtest/gtest.h>

using namespace lumbro;
using namespace lumbro::test;

namespace {

constexpr unsigned short columns = 72;
const QByteArray longText = QByteArray("Größe 日本語 👩‍👩‍👧 granite ").repeated(8).trimmed();

/// A library in which everything has a long name.
CommandLine wideLibrary() {
    CommandLine line;
    line.set(u"TERM"_s, u"xterm"_s);
    line.set(u"LUMBRO_NOW"_s, u"2026-03-05T12:00:00"_s);
    const QString id = u"2026-03-02-0914-meeting-"_s + QString(100, u'x');
    line.addCapture(id, longText, "2026-03-02T08:14:00Z");
    line.write(id, u"notes.md"_s, longText + '\n');
    line.write(id, u"handoffs/%1.md"_s.arg(QString(90, u'y')), longText + '\n');
    const auto write = [&line](const QString& path, const QByteArray& bytes) {
        line.home().write(u"Quillet/"_s + path, bytes);
    };
    write(u"memory/people/%1.md"_s.arg(QString(80, u'p')), "---\nname: " + longText + "\nrole: " + longText +
                                                               "\nemail: granite@" + QByteArray(60, 'd') +
                                                               ".com\nlast_seen: 2026-03-02\n---\n");
    write(u"memory/projects/%1.md"_s.arg(QString(80, u'q')),
          "---\nname: " + longText + "\nstatus: " + longText + "\n---\n");
    write(u"memory/promises.md"_s, "# Promises\n\n- [ ] " + longText + " · Me → " + longText +
                                       " · due 2026-03-03 · 2026-03-02 ^p-aaaaaa\n");
    write(u"memory/ideas.md"_s,
          "# Ideas\n\n- **" + longText + "** — " + longText + " · 2026-03-02 ^i-aaaaaa\n");
    write(u"asks/2026-03-02-0914-%1.md"_s.arg(QString(90, u'z')),
          "---\ntitle: " + longText + "\n---\n### Me · 2026-03-02T08:15:00Z\n" + longText +
              "\n### Lumbro\n- [ ] Me — " + longText + " (due 2026-03-09)\n");
    write(u"engines/%1.md"_s.arg(QString(80, u'e')), "---\nname: " + longText + "\ndescription: " + longText +
                                                         "\nwatch: " + line.home().path().toUtf8() +
                                                         "/Drop\n---\nDo.\n");
    line.home().write(u"Drop/%1.txt"_s.arg(QString::fromUtf8(longText)), "x");
    return line;
}

}  // namespace

TEST(TerminalWidth, noListIsWiderThanTheTerminalAndNothingIsCutElsewhere) {
    const CommandLine line = wideLibrary();
    const QStringList rows[]{
        {u"captures"_s},
        {u"people"_s},
        {u"projects"_s},
        {u"companies"_s},
        {u"ideas"_s},
        {u"promises"_s},
        {u"asks"_s},
        {u"engines"_s},
        {u"inbox"_s},
        {u"search"_s, u"granite"_s},
        {u"tasks"_s, u"add"_s, u"--dry-run"_s, u"--from"_s, u"ask:last"_s},
    };
    for (const QStringList& command : rows) {
        SCOPED_TRACE(command.join(u' ').toStdString());
        Terminal terminal(columns);
        QProcess process;
        process.setProcessEnvironment(line.environment());
        process.setStandardOutputFile(terminal.name());
        process.start(CommandLine::program(), command);
        process.closeWriteChannel();
        ASSERT_TRUE(process.waitForFinished());
        const QString printed = QString::fromUtf8(terminal.text());
        EXPECT_TRUE(printed.contains(u'…')) << qPrintable(printed);
        for (const QString& shown : printed.split(u"\r\n"_s)) {
            EXPECT_LE(cli::displayWidth(shown), columns) << qPrintable(shown);
        }
        const QString whole = line.run(command).output;
        EXPECT_GT(whole.count(u'\n'), 1);
        EXPECT_TRUE(command.first() == u"search" || !whole.contains(u'…')) << qPrintable(whole);
    }
}
