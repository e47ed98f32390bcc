#include "LumbroCore/Literals.h"
#include "memory/Obsidian.h"
#include "tests/support/ScratchFolder.h"

#include <gtest/gtest.h>

namespace lumbro::test {
namespace {

TEST(ObsidianTest, aPageOpensWhereItCanBeShown) {
    const ScratchFolder folder;
    folder.write(u"vault/memory/people/a b.md"_s, "");
    ASSERT_TRUE(QFile::link(folder.path(u"vault"_s), folder.path(u"Quillet"_s)));
    const QString page = folder.path(u"Quillet/memory/people/a b.md"_s);
    bool isInstalled = false;
    bool isThere = true;
    QStringList done;
    const Obsidian obsidian({.isInstalled = [&] { return isInstalled; },
                             .open =
                                 [&](const QUrl& url) {
                                     done.append(u"open "_s + QString::fromLatin1(url.toEncoded()));
                                     return isThere;
                                 },
                             .start = [&] { done.append(u"start"_s); },
                             .reveal = [&](const QString& path) { done.append(u"reveal "_s + path); }},
                            folder.path(u"Quillet"_s), folder.path());
    EXPECT_EQ(obsidian.open(page), Obsidian::Outcome::openedElsewhere);
    EXPECT_EQ(done, QStringList{u"open file://"_s + folder.path() + u"/Quillet/memory/people/a%20b.md"_s});

    isInstalled = true;
    const QByteArray elsewhere =
        R"({"vaults":{"1":{"path":")" + folder.path(u"vau"_s).toUtf8() + R"("},"2":3,"3":{}}})";
    for (const QByteArray& vaults : {QByteArray(), QByteArray("[]"), elsewhere}) {
        folder.write(u".config/obsidian/obsidian.json"_s, vaults);
        EXPECT_EQ(obsidian.open(page), Obsidian::Outcome::notInVault);
    }
    EXPECT_TRUE(
        obsidian.explanation().body.contains(u"then pick "_s + folder.path(u"Quillet"_s) + u". After"_s));

    folder.write(u".config/obsidian/obsidian.json"_s,
                 R"({"vaults":{"1":{"path":")" + folder.path(u"Quillet"_s).toUtf8() + R"("}}})");
    done.clear();
    EXPECT_EQ(obsidian.open(page), Obsidian::Outcome::opened);
    obsidian.addVault();
    ASSERT_EQ(done.size(), 3);
    EXPECT_TRUE(done[0].startsWith(u"open obsidian://open?path=%2F"_s));
    EXPECT_TRUE(done[0].endsWith(u"%2Fvault%2Fmemory%2Fpeople%2Fa%20b.md"_s));
    EXPECT_EQ(done[1], u"start"_s);
    isThere = false;
    EXPECT_EQ(obsidian.open(page), Obsidian::Outcome::failed);
}

TEST(ObsidianTest, anEntryOrAProgramShowsThatItIsInstalled) {
    const ScratchFolder folder;
    EXPECT_FALSE(Obsidian::isInstalled({folder.path()}, {folder.path()}));
    folder.write(u"obsidian"_s, "");
    EXPECT_FALSE(Obsidian::isInstalled({}, {folder.path()}));
    QFile::setPermissions(folder.path(u"obsidian"_s), QFile::ReadOwner | QFile::ExeOwner);
    EXPECT_TRUE(Obsidian::isInstalled({}, {folder.path()}));
    folder.write(u"applications/md.obsidian.Obsidian.desktop"_s, "");
    EXPECT_TRUE(Obsidian::isInstalled({folder.path()}, {}));
}

}  // namespace
}  // namespace lumbro::test
