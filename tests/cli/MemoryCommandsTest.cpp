#include "tests/cli/MemoryCommandLine.h"
#include "tests/support/Wait.h"

using namespace lumbro;
using namespace lumbro::test;

using MemoryCommands = MemoryCommandsTest;

TEST_F(MemoryCommands, sayWhatComesWhereThereIsNothingYet) {
    for (const char* command : {"people", "projects", "companies", "ideas"}) {
        const QString name = QString::fromLatin1(command);
        const Finished text = line.run({name});
        EXPECT_EQ(text.status, 0);
        EXPECT_EQ(text.output, QString());
        EXPECT_TRUE(text.errors.startsWith(u"No %1 yet: "_s.arg(name))) << qPrintable(text.errors);
        EXPECT_EQ(line.run({name, u"--json"_s}).output, u"[]\n"_s);
    }
    EXPECT_EQ(
        line.run({u"promises"_s}).output,
        u"I owe\nYou don't owe anyone anything right now.\n\nOwed to me\nNobody owes you anything right now.\n"_s);
    EXPECT_EQ(line.run({u"promises"_s, u"--due"_s}).errors, u"Nothing is due.\n"_s);
    EXPECT_TRUE(line.run({u"memory"_s}).output.startsWith(u"## PEOPLE\n(none yet)\n"_s));
    EXPECT_FALSE(line.home().has(u"Quillet/memory"_s)) << "reading makes nothing";
    EXPECT_EQ(line.run({u"memory"_s, u"catch-up"_s}).errors,
              u"There are no captures yet; `lumbro record` makes one.\n"_s);
    line.home().write(u"Quillet/captures/%1/meta.json"_s.arg(meeting), "{");
    const Finished broken = line.run({u"memory"_s, u"catch-up"_s});
    EXPECT_EQ(broken.status, 1);
    EXPECT_TRUE(broken.errors.startsWith(u"lumbro: %1/meta.json can't be read; "_s.arg(meeting)))
        << qPrintable(broken.errors);
    EXPECT_EQ(broken.errors.count(u'\n'), 1);
    const Finished document = line.run({u"memory"_s, u"catch-up"_s, u"--json"_s});
    EXPECT_EQ(document.status, 1);
    EXPECT_EQ(document.errors, broken.errors);
    const QString error = broken.errors.mid(qstrlen("lumbro: ")).trimmed();
    EXPECT_EQ(document.array(),
              (QJsonArray{QJsonObject{{u"capture"_s, meeting}, {u"updated"_s, false}, {u"error"_s, error}}}));
}

TEST_F(MemoryCommands, listAndShowPages) {
    fill();
    addMeeting();
    const QJsonArray people = line.run({u"people"_s, u"--json"_s}).array();
    ASSERT_EQ(people.size(), 2);
    EXPECT_EQ(people.at(0).toObject().value(u"id"_s), u"anton"_s);
    const QJsonObject ann = people.at(1).toObject();
    const QJsonObject source{{u"target"_s, u"captures/2026-03-02-0914-meeting/transcript"_s},
                             {u"title"_s, u"Weekly"_s},
                             {u"capture"_s, meeting}};
    EXPECT_EQ(ann, (QJsonObject{{u"id"_s, u"ann-lee"_s},
                                {u"name"_s, u"Ann Lee"_s},
                                {u"subtitle"_s, u"CTO · Acme"_s},
                                {u"lastSeen"_s, u"2026-03-02"_s},
                                {u"about"_s, QJsonArray{u"likes tea"_s}},
                                {u"timeline"_s, QJsonArray{QJsonObject{{u"date"_s, u"2026-03-02"_s},
                                                                       {u"text"_s, u"agreed"_s},
                                                                       {u"source"_s, source}}}},
                                {u"role"_s, u"CTO"_s},
                                {u"company"_s, u"Acme"_s},
                                {u"emails"_s, QJsonArray{u"ann@acme.com"_s}},
                                {u"path"_s, line.home().path(u"Quillet/memory/people/ann-lee.md"_s)}}));
    for (const QString& name : {u"ann-lee"_s, u"ann-"_s, u"ann LEE"_s}) {
        EXPECT_EQ(line.run({u"person"_s, name, u"--json"_s}).object(), ann);
    }
    const QString page = line.run({u"person"_s, u"ann-lee"_s}).output;
    for (const QString& part :
         {u"CTO · Acme"_s, u"- likes tea"_s, u"send the deck"_s, u"2026-03-02  agreed"_s}) {
        EXPECT_TRUE(page.contains(part)) << qPrintable(page);
    }
    EXPECT_EQ(line.run({u"companies"_s, u"--json"_s}).array(),
              (QJsonArray{QJsonObject{{u"domain"_s, u"acme.com"_s},
                                      {u"name"_s, u"Acme"_s},
                                      {u"personSlugs"_s, QJsonArray{u"ann-lee"_s}},
                                      {u"captureIDs"_s, QJsonArray()}}}));
    EXPECT_EQ(line.run({u"ideas"_s, u"--json"_s}).array().first().toObject().value(u"angle"_s),
              u"it works"_s);
    EXPECT_TRUE(line.run({u"memory"_s, u"index"_s, u"--json"_s})
                    .object()
                    .value(u"index"_s)
                    .toString()
                    .contains(u"- ann-lee: Ann Lee (CTO · Acme) — likes tea\n"_s));
    const Finished several = line.run({u"person"_s, u"an"_s});
    EXPECT_EQ(several.status, 1);
    EXPECT_TRUE(several.errors.contains(u"ann-lee"_s) && several.errors.contains(u"anton"_s));
}

TEST_F(MemoryCommands, sayWhatToDoAboutAnUnknownId) {
    fill();
    const QList<std::pair<QStringList, QString>> cases{
        {{u"person"_s, u"zoe"_s}, u"lumbro: There is no person \"zoe\"; `lumbro people` lists them all.\n"_s},
        {{u"project"_s, u""_s}, u"lumbro: There is no project \"\"; "_s},
        {{u"project"_s, u"rename"_s, u"zeus"_s, u"Zeus 2"_s}, u"lumbro: There is no project \"zeus\"; "_s},
        {{u"promises"_s, u"done"_s, u"p-zzzzzz"_s}, u"lumbro: There is no promise \"p-zzzzzz\"; "_s},
        {{u"memory"_s, u"update"_s, u"2020"_s}, u"lumbro: There is no capture \"2020\"; "_s}};
    for (const auto& [arguments, sentence] : cases) {
        const Finished finished = line.run(arguments);
        EXPECT_EQ(finished.status, 1) << qPrintable(arguments.join(u' '));
        EXPECT_EQ(finished.output, QString());
        EXPECT_TRUE(finished.errors.startsWith(sentence)) << qPrintable(finished.errors);
        EXPECT_EQ(finished.errors.count(u'\n'), 1);
    }
    for (const QStringList& wrong : {QStringList{u"promises"_s, u"--mine"_s, u"--theirs"_s},
                                     {u"promises"_s, u"snooze"_s, u"p-aaaaaa"_s, u"soon"_s},
                                     {u"project"_s, u"rename"_s, u"apollo"_s, u" "_s},
                                     {u"project"_s, u"new"_s, u""_s},
                                     {u"project"_s, u"new"_s, u"\u202E \u200B"_s}}) {
        EXPECT_EQ(line.run(wrong).status, 2);
    }
}

TEST_F(MemoryCommands, tellWhatCannotBeReadAndListTheRest) {
    fill();
    memory(u"people/broken.md"_s, "caf\xE9");
    const QString folder = line.home().path(u"Quillet/memory"_s);
    ASSERT_TRUE(QDir().mkpath(folder + u"/people/dir.md"_s));
    ASSERT_TRUE(QFile::link(u"nowhere"_s, folder + u"/people/link.md"_s));
    memory(u"promises.md"_s, file(u"promises.md"_s) + "caf\xE9\n");
    const Finished people = line.run({u"people"_s, u"--json"_s});
    EXPECT_EQ(people.status, 0);
    EXPECT_EQ(people.array().size(), 2);
    EXPECT_EQ(people.errors.count(u'\n'), 3) << qPrintable(people.errors);
    EXPECT_TRUE(people.errors.contains(
        u"lumbro: %1/people/broken.md is no UTF-8 text and is left out; "_s.arg(folder)));
    EXPECT_TRUE(people.errors.contains(u"lumbro: %1/people/dir.md can't be read "_s.arg(folder)));
    EXPECT_EQ(line.run({u"person"_s, u"broken"_s}).errors.section(u' ', 1, 1),
              folder + u"/people/broken.md"_s);
    EXPECT_EQ(line.run({u"projects"_s}).errors, QString());
    const QByteArray log = line.home().read(u"Library/Logs/Quillet/handoff.log"_s);
    EXPECT_LE(log.count("people/dir.md can't be read"), 1) << log.constData();
    const Finished odd = line.run({u"promises"_s, u"--json"_s});
    EXPECT_EQ(odd.array().size(), 4);
    EXPECT_TRUE(odd.errors.contains(u"promises.md holds bytes that are no UTF-8 text"_s));

    ASSERT_TRUE(QFile::remove(folder + u"/promises.md"_s) && QDir().mkpath(folder + u"/promises.md"_s));
    for (const QStringList& command :
         {QStringList{u"promises"_s}, {u"promises"_s, u"done"_s, u"p-aaaaaa"_s}}) {
        const Finished lost = line.run(command);
        EXPECT_EQ(lost.status, 1);
        EXPECT_EQ(lost.output, QString());
        EXPECT_TRUE(lost.errors.startsWith(u"lumbro: %1/promises.md can't be read "_s.arg(folder)));
    }
    ASSERT_TRUE(QDir(folder).removeRecursively());
    line.home().write(u"Quillet/memory"_s, "");
    for (const char* command : {"people", "projects", "companies", "ideas", "promises", "memory"}) {
        const Finished lost = line.run({QString::fromLatin1(command)});
        EXPECT_EQ(lost.status, 1) << command;
        EXPECT_TRUE(lost.errors.startsWith(u"lumbro: %1 can't be read "_s.arg(folder)))
            << qPrintable(lost.errors);
        EXPECT_EQ(lost.output, QString());
    }
}

TEST_F(MemoryCommands, beginAndRenameAProject) {
    EXPECT_EQ(line.run({u"project"_s, u"new"_s, u"Apollo launch"_s}).output, u"apollo-launch\n"_s);
    EXPECT_EQ(line.run({u"project"_s, u"new"_s, u"Apollo launch"_s, u"--json"_s}).object().value(u"id"_s),
              u"apollo-launch-2"_s);
    const Finished renamed = line.run({u"project"_s, u"rename"_s, u"apollo-launch"_s, u"Zeus"_s});
    EXPECT_EQ(renamed.output, u"apollo-launch: \"Apollo launch\" is now \"Zeus\".\n"_s);
    EXPECT_TRUE(file(u"projects/apollo-launch.md"_s).contains("# Zeus\n"));
    EXPECT_EQ(line.run({u"project"_s, u"zeus"_s, u"--json"_s}).object().value(u"id"_s), u"apollo-launch"_s);
}

TEST_F(MemoryCommands, groupPromisesBySideAndUrgency) {
    fill();
    const Finished all = line.run({u"promises"_s, u"--all"_s});
    EXPECT_EQ(all.output.simplified(),
              u"I owe ID WHAT TO DUE MADE Overdue p-aaaaaa send the deck Ann Lee 2 days late 3 days ago Open "
              u"%1 buy "
              "milk Them today Done p-cccccc call Bo Bo 4 days ago Owed to me ID WHAT FROM DUE MADE Due soon "
              "p-bbbbbb reply Ann Lee Due tomorrow today"_s.arg(
                  all.output.section(u"Open\n"_s, 1).section(u' ', 0, 0)))
        << qPrintable(all.output);
    EXPECT_EQ(all.output.split(u'\n').at(3).indexOf(u"send"), all.output.split(u'\n').at(1).indexOf(u"WHAT"));
    const Finished some = line.run({u"promises"_s, u"--mine"_s});
    EXPECT_FALSE(some.output.contains(u"call Bo"_s) || some.output.contains(u"Owed to me"_s));
    EXPECT_TRUE(some.errors.contains(u"1 promise is done; --all shows them."_s));

    const auto ids = [this](const QStringList& arguments) {
        QStringList found;
        for (const auto& promise : line.run(arguments).array()) {
            found += promise.toObject().value(u"id"_s).toString();
        }
        return found;
    };
    EXPECT_EQ(ids({u"promises"_s, u"--json"_s}).first(3),
              (QStringList{u"p-aaaaaa"_s, u"p-bbbbbb"_s, u"p-cccccc"_s}));
    EXPECT_EQ(ids({u"promises"_s, u"--json"_s, u"--due"_s}), (QStringList{u"p-aaaaaa"_s, u"p-bbbbbb"_s}));
    EXPECT_EQ(ids({u"promises"_s, u"--json"_s, u"--theirs"_s}), (QStringList{u"p-bbbbbb"_s}));
    memory(u"promises.md"_s, file(u"promises.md"_s).replace("due Friday", "soon"));
    EXPECT_FALSE(line.run({u"promises"_s, u"--due"_s}).output.contains(u"Owed to me"_s));
    const QJsonObject first = line.run({u"promises"_s, u"--json"_s}).array().first().toObject();
    const QJsonObject expected{{u"id"_s, u"p-aaaaaa"_s},
                               {u"done"_s, false},
                               {u"text"_s, u"send the deck"_s},
                               {u"owner"_s, u"Me"_s},
                               {u"ownerName"_s, u"Me"_s},
                               {u"recipient"_s, u"[[people/ann-lee|Ann Lee]]"_s},
                               {u"recipientName"_s, u"Ann Lee"_s},
                               {u"recipientSlug"_s, u"ann-lee"_s},
                               {u"due"_s, u"2026-03-03"_s},
                               {u"dueDate"_s, u"2026-03-03"_s},
                               {u"urgency"_s, u"overdue"_s},
                               {u"dueText"_s, u"2 days late"_s},
                               {u"ageText"_s, u"3 days ago"_s},
                               {u"isMine"_s, true},
                               {u"isSnoozed"_s, false},
                               {u"snoozedUntil"_s, u""_s},
                               {u"date"_s, u"2026-03-02"_s},
                               {u"source"_s, first.value(u"source"_s)}};
    EXPECT_EQ(first, expected);
}

TEST_F(MemoryCommands, tickAndSnoozeAPromise) {
    fill();
    EXPECT_EQ(line.run({u"promises"_s, u"done"_s, u"p-aaaaaa"_s}).output,
              u"p-aaaaaa is done: send the deck\n"_s);
    EXPECT_TRUE(file(u"promises.md"_s).contains("- [x] send the deck"));
    EXPECT_FALSE(
        line.run({u"promises"_s, u"reopen"_s, u"p-a"_s, u"--json"_s}).object().value(u"done"_s).toBool());
    EXPECT_TRUE(file(u"promises.md"_s).contains("- [ ] send the deck"));
    EXPECT_EQ(line.run({u"promises"_s, u"snooze"_s, u"p-aaaaaa"_s, u"3"_s}).output,
              u"p-aaaaaa is snoozed until 2026-03-08: send the deck\n"_s);
    EXPECT_TRUE(file(u"promises.md"_s).contains(" · snoozed 2026-03-08 ^p-aaaaaa\n"));
    EXPECT_TRUE(line.run({u"promises"_s}).output.contains(u"Snoozed until 2026-03-08"_s));
    EXPECT_EQ(line.run({u"promises"_s, u"--due"_s, u"--json"_s}).array().size(), 1);
    EXPECT_TRUE(
        line.run({u"promises"_s, u"snooze"_s, u"p-aaaaaa"_s, u"0"_s}).output.contains(u"no longer"_s));
    const QByteArray before = file(u"promises.md"_s);
    const Finished refused = line.run({u"promises"_s, u"snooze"_s, u"p-cccccc"_s, u"3"_s});
    EXPECT_EQ(refused.status, 1);
    EXPECT_TRUE(refused.errors.startsWith(u"lumbro: p-cccccc is done already; "_s))
        << qPrintable(refused.errors);
    EXPECT_EQ(file(u"promises.md"_s), before);
    // A line that was written by hand.
    const QString done = line.run({u"promises"_s, u"done"_s, u"p-line"_s}).output;
    EXPECT_TRUE(done.endsWith(u" is done: buy milk\n"_s)) << qPrintable(done);
    EXPECT_TRUE(file(u"promises.md"_s).endsWith("\n- [x] buy milk · Me → Them · 2026-03-05\n"));
    const QString id = done.section(u' ', 0, 0);
    EXPECT_EQ(line.run({u"promises"_s, u"reopen"_s, id}).output, id + u" is open: buy milk\n"_s);
    EXPECT_EQ(line.run({u"promises"_s, u"snooze"_s, id, u"1"_s}).output.section(u' ', 0, 0), id);
    EXPECT_EQ(line.run({u"promises"_s, u"snooze"_s, id, u"0"_s}).output.section(u' ', 0, 0), id);
    EXPECT_EQ(line.run({u"promises"_s, u"--due"_s, u"--json"_s}).array().size(), 2);
}

TEST_F(MemoryCommands, draftANudgeForWhatOthersOwe) {
    fill();
    const Finished draft = line.run({u"promises"_s, u"nudge"_s, u"p-b"_s});
    EXPECT_EQ(draft.output,
              u"To       ann@acme.com\nSubject  Quick follow-up\n\n"
              "Hi Ann,\n\nFollowing up on this: you said you'd reply. Any update?\n\nThanks!\n"_s);
    EXPECT_EQ(draft.status, 0);
    for (const char* id : {"p-aaaaaa", "p-cccccc", "p-nobody"}) {
        EXPECT_EQ(line.run({u"promises"_s, u"nudge"_s, QString::fromLatin1(id)}).status, 1) << id;
    }
    memory(u"promises.md"_s, "- [ ] reply · Zoe → Me · 2026-03-05 ^p-dddddd\n");
    const Finished unknown = line.run({u"promises"_s, u"nudge"_s, u"p-dddddd"_s, u"--json"_s});
    EXPECT_TRUE(unknown.object().value(u"to"_s).toArray().isEmpty());
    EXPECT_TRUE(unknown.errors.contains(u"No address of Zoe is known"_s));
}

TEST_F(MemoryCommands, openAPageWhereItCanBeShown) {
    fill();
    line.set(u"DISPLAY"_s, QString());
    line.set(u"WAYLAND_DISPLAY"_s, QString());
    const QString page = line.home().path(u"Quillet/memory/people/ann-lee.md"_s);
    EXPECT_EQ(line.run({u"person"_s, u"ann-lee"_s, u"--open"_s}).errors,
              u"lumbro: There is no desktop that could open %1.\n"_s.arg(page));
    line.home().write(u"bin/xdg-open"_s, "#!/bin/sh\necho \"$1\" >> \"$HOME/opened\"\n");
    line.home().write(u"bin/obsidian"_s, "#!/bin/sh\n");
    const auto allow = [this](const QString& name) {
        return QFile::setPermissions(line.home().path(name), QFile::ReadOwner | QFile::ExeOwner);
    };
    ASSERT_TRUE(allow(u"bin/xdg-open"_s));
    line.set(u"DISPLAY"_s, u":0"_s);
    line.set(u"PATH"_s, line.home().path(u"bin:/usr/bin:/bin"_s));
    const auto opened = [this] { return QString::fromUtf8(line.home().read(u"opened"_s)); };
    EXPECT_EQ(line.run({u"project"_s, u"apollo"_s, u"--open"_s}).status, 0);
    EXPECT_TRUE(eventually([&] { return opened().endsWith(u"/memory/projects/apollo.md\n"_s); }));
    ASSERT_TRUE(allow(u"bin/obsidian"_s));
    const Finished outside = line.run({u"person"_s, u"ann-lee"_s, u"--open"_s});
    EXPECT_EQ(outside.status, 1);
    EXPECT_TRUE(outside.errors.contains(u"choose Open folder as vault"_s)) << qPrintable(outside.errors);
    line.home().write(u".config/obsidian/obsidian.json"_s,
                      R"({"vaults":{"1":{"path":")" + line.home().path(u"Quillet"_s).toUtf8() + R"("}}})");
    EXPECT_EQ(line.run({u"person"_s, u"ann-lee"_s, u"--open"_s, u"--json"_s}).object().value(u"openedIn"_s),
              u"Obsidian"_s);
    EXPECT_TRUE(eventually([&] { return opened().contains(u"\nobsidian://open?path="_s); }));
}
