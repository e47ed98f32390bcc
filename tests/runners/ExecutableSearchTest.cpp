#include "runners/ClaudeRunner.h"
#include "runners/CodexRunner.h"
#include "runners/ExecutableSearch.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <QDir>
#include <QFile>

#include <gtest/gtest.h>

using namespace lumbro;
using namespace std::chrono_literals;

namespace {

// A tool that no machine has, so that only what the test puts there is found.
const ExecutableSearch search{.name = u"quillpen"_s,
                              .setting = u"claudeExecutablePath"_s,
                              .places = {u"~/.local/bin/quillpen"_s, u"~/.bun/bin/quillpen"_s}};

struct ExecutableSearchTest : ::testing::Test {
    ExecutableSearchTest() : settings(home.path(u"settings.ini"_s)) {
        oldHome = qgetenv("HOME");
        qputenv("HOME", home.path().toUtf8());
        qputenv("SHELL", home.path(u"shell"_s).toUtf8());
    }
    ~ExecutableSearchTest() override { qputenv("HOME", oldHome); }

    QString program(const QString& name, const QByteArray& script = "#!/bin/sh\n") const {
        home.write(name, script);
        QFile::setPermissions(home.path(name), QFile::ReadOwner | QFile::ExeOwner | QFile::WriteOwner);
        return home.path(name);
    }
    std::optional<QString> locate() {
        const auto found = test::wait(locateExecutable(settings, clock, search));
        return found ? std::optional(*found) : std::nullopt;
    }
    /// A real interactive shell, which ignores a plain request to end and whose start files have no end.
    void hangShell() const {
        home.write(u".profile"_s, "touch \"$HOME/started\"\nwhile :; do sleep 0.1; done\n");
        program(u"shell"_s, "#!/bin/sh\necho $$ > \"$HOME/pid\"\nexec /bin/bash \"$@\"\n");
    }
    bool shellHasGone() const {
        const QString shell = u"/proc/"_s + QString::fromUtf8(home.read(u"pid"_s)).trimmed();
        return test::eventually([&] { return !QFile::exists(shell); });
    }
    QString remembered() const { return settings.string(search.setting); }

    test::ScratchFolder home;
    QByteArray oldHome;
    test::TestClock clock;
    Settings settings;
};

}  // namespace

TEST_F(ExecutableSearchTest, theFirstPlaceWinsAndIsRemembered) {
    program(u"shell"_s, "#!/bin/sh\n");
    EXPECT_EQ(locate(), std::nullopt);
    EXPECT_EQ(remembered(), QString());

    // Text order of the versions, not their size.
    program(u".nvm/versions/node/v22.1.0/bin/quillpen"_s);
    const QString older = program(u".nvm/versions/node/v9.0.0/bin/quillpen"_s);
    EXPECT_EQ(locate(), older);
    EXPECT_EQ(remembered(), older);

    // The remembered path stays as long as it is a program.
    const QString bun = program(u".bun/bin/quillpen"_s);
    EXPECT_EQ(locate(), older);
    QFile::setPermissions(older, QFile::ReadOwner);
    EXPECT_EQ(locate(), bun);
    EXPECT_EQ(remembered(), bun);

    home.write(u".local/bin/quillpen"_s, "not executable");
    QFile::remove(bun);
    EXPECT_EQ(locate(), home.path(u".nvm/versions/node/v22.1.0/bin/quillpen"_s));
}

TEST_F(ExecutableSearchTest, ourOwnPathComesAfterThePlacesAndBeforeTheLoginShell) {
    program(u"shell"_s, "#!/bin/sh\ntouch \"$HOME/asked\"\n");
    const QString tool = program(u"elsewhere/quillpen"_s);
    const QByteArray oldPath = qgetenv("PATH");
    const QString oldFolder = QDir::currentPath();
    QDir::setCurrent(home.path());
    const auto locateWith = [&](const QString& path) {
        settings.set(search.setting, QVariant());
        qputenv("PATH", path.toUtf8());
        auto found = locate();
        qputenv("PATH", oldPath);
        return found;
    };
    EXPECT_EQ(locateWith(u"/no/such:"_s + home.path(u"elsewhere"_s) + u":/bin"_s), tool);
    EXPECT_EQ(remembered(), tool);
    EXPECT_FALSE(home.has(u"asked"_s));
    // An entry that depends on the working folder is not for us.
    EXPECT_EQ(locateWith(u":elsewhere:/bin:/usr/bin"_s), std::nullopt);
    const QString local = program(u".local/bin/quillpen"_s);
    EXPECT_EQ(locateWith(home.path(u"elsewhere"_s)), local);
    QDir::setCurrent(oldFolder);
}

TEST_F(ExecutableSearchTest, theLoginShellIsAskedLastAndItsNoiseIgnored) {
    if (QFile::exists(u"/bin/zsh"_s)) {
        GTEST_SKIP() << "This machine's zsh stands before the shell of the test.";
    }
    const QString tool = program(u"elsewhere/quillpen"_s);
    program(u"shell"_s,
            "#!/bin/sh\n[ \"$1 $2\" = \"-lic command -v quillpen\" ] || exit 1\n"
            "cat; echo 'Welcome back!'; echo >&2 noise; printf '\\t" +
                tool.toUtf8() + " \\n\\n'\n");
    EXPECT_EQ(locate(), tool);
    EXPECT_EQ(remembered(), tool);

    settings.set(search.setting, QVariant());
    program(u"shell"_s, "#!/bin/sh\necho \"alias quillpen='x'\"\n");
    EXPECT_EQ(locate(), std::nullopt);
    EXPECT_EQ(remembered(), QString());
}

TEST_F(ExecutableSearchTest, aShellThatHangsIsLeftAfterTenSeconds) {
    if (QFile::exists(u"/bin/zsh"_s)) {
        GTEST_SKIP() << "This machine's zsh stands before the shell of the test.";
    }
    hangShell();
    std::optional<Result<QString>> found;
    locateExecutable(settings, clock, search).then([&](const Result<QString>& path) { found = path; });
    ASSERT_TRUE(test::eventually([&] { return home.has(u"started"_s); }));
    clock.advance(9s);
    EXPECT_FALSE(found.has_value());
    clock.advance(1s);
    ASSERT_TRUE(found.has_value());
    ASSERT_FALSE(found->has_value());
    EXPECT_EQ(found->error().kind, FailureKind::timedOut);
    EXPECT_TRUE(shellHasGone());
}

TEST_F(ExecutableSearchTest, aSearchThatIsCancelledEndsWithTheShell) {
    if (QFile::exists(u"/bin/zsh"_s)) {
        GTEST_SKIP() << "This machine's zsh stands before the shell of the test.";
    }
    hangShell();
    const auto handle = std::make_shared<CancellationHandle>();
    std::optional<Result<QString>> found;
    locateExecutable(settings, clock, search, handle).then([&](const Result<QString>& path) {
        found = path;
    });
    ASSERT_TRUE(test::eventually([&] { return home.has(u"started"_s); }));
    handle->cancel();
    ASSERT_TRUE(test::eventually([&] { return found.has_value(); }));
    ASSERT_FALSE(found->has_value());
    EXPECT_EQ(found->error().kind, FailureKind::cancelled);
    EXPECT_TRUE(shellHasGone());
}

TEST_F(ExecutableSearchTest, aScriptWithoutItsInterpreterIsTheLastChoice) {
    program(u"shell"_s, "#!/bin/sh\n");
    const QString broken = program(u".local/bin/quillpen"_s, "#! /no/such/node --x\n");
    settings.set(search.setting, broken);
    EXPECT_EQ(locate(), broken);
    const QString sound = program(u".bun/bin/quillpen"_s);
    EXPECT_EQ(locate(), sound);
    EXPECT_EQ(remembered(), sound);
}

TEST_F(ExecutableSearchTest, claudeAndCodexAreFoundInTheUsersOwnPlaces) {
    ClaudeRunner claude(settings, clock);
    CodexRunner codex(settings, clock);
    const QString local = program(u".claude/local/claude"_s);
    const QString npm = program(u".npm-global/bin/codex"_s);
    if (!QFile::exists(u"/usr/local/bin/codex"_s)) {
        EXPECT_EQ(test::wait(codex.locate()), npm);
        EXPECT_EQ(settings.string(u"codexExecutablePath"_s), npm);
    }
    EXPECT_EQ(test::wait(claude.locate()), local);
}
