#include "LumbroCore/Literals.h"
#include "library/EngineInstaller.h"
#include "tests/support/ScratchFolder.h"

#include <gtest/gtest.h>

using namespace lumbro;

namespace {

const QString v1 = u"---\nname: Notes\nversion: 1\n---\nOne."_s;
const QString v2 = u"---\nname: Better notes\nscope: meeting # where\nVersion: 2\n---\nTwo."_s;

class EngineInstallerTest : public ::testing::Test {
  protected:
    void install(const QString& shipped, const EngineInstaller::PriorBuiltIns& prior = {}) {
        m_folder.write(u"built-ins/notes.md"_s, shipped.toUtf8());
        m_folder.write(u"engines/.keep"_s, "");
        EngineInstaller(m_folder.path(u"built-ins"_s), m_folder.path(u"engines"_s), prior).install();
    }
    QString own() const { return QString::fromUtf8(m_folder.read(u"engines/notes.md"_s)); }
    void edit(const QString& text) const { m_folder.write(u"engines/notes.md"_s, text.toUtf8()); }
    QByteArray installed() const { return m_folder.read(u"engines/.installed.json"_s); }
    static QByteArray entry(const QString& value) {
        return "{\n  \"notes.md\": \"" + value.toUtf8() + "\"\n}";
    }

    test::ScratchFolder m_folder;
};

}  // namespace

TEST_F(EngineInstallerTest, installsAndUpgradesWhatTheUserHasNotTouched) {
    install(v1);
    EXPECT_EQ(own(), v1);
    EXPECT_EQ(installed(), entry(EngineInstaller::digest(v1)));
    EXPECT_EQ(EngineInstaller::digest(u"abc"_s),
              u"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"_s);
    install(v2);
    EXPECT_EQ(own(), v2);
    EXPECT_EQ(installed(), entry(EngineInstaller::digest(v2)));
}

TEST_F(EngineInstallerTest, anEditKeepsItsPromptAndGetsNewFieldsOnce) {
    install(v1);
    edit(u"---\nname: Mine\nmodel: opus\nversion: 1\n---\nMy own.\n"_s);
    install(v2);
    const QString merged =
        u"---\nname: Mine\nmodel: opus\nscope: meeting # where\nversion: 2\n---\nMy own.\n"_s;
    EXPECT_EQ(own(), merged);
    EXPECT_EQ(installed(), entry(u"edited"_s));
    edit(merged + u"More."_s);
    install(v2);
    EXPECT_EQ(own(), merged + u"More."_s);
}

TEST_F(EngineInstallerTest, anEarlierVersionOfOursIsKnownWithoutTheList) {
    edit(v1);
    install(v2, {{u"notes.md"_s, {EngineInstaller::digest(v1)}}});
    EXPECT_EQ(own(), v2);
}

TEST_F(EngineInstallerTest, anotherTextOfTheSameVersionStays) {
    install(v1);
    const QByteArray before = installed();
    const QString changed = v1 + u" More."_s;
    install(changed);
    EXPECT_EQ(own(), v1);
    EXPECT_EQ(installed(), before);
    edit(changed);
    install(changed);
    EXPECT_EQ(installed(), entry(EngineInstaller::digest(changed)));
}

TEST_F(EngineInstallerTest, whatTheUserDeletedStaysDeleted) {
    install(v1);
    QFile::remove(m_folder.path(u"engines/notes.md"_s));
    install(v1);
    EXPECT_EQ(own(), v1) << "removed behind our back";
    QFile::remove(m_folder.path(u"engines/notes.md"_s));
    EngineInstaller(m_folder.path(u"built-ins"_s), m_folder.path(u"engines"_s)).markDeleted(u"notes.md"_s);
    install(v2);
    EXPECT_FALSE(m_folder.has(u"engines/notes.md"_s));
    EXPECT_EQ(installed(), entry(u"deleted"_s));
}

TEST_F(EngineInstallerTest, neverReplacesWhatItCannotRead) {
    m_folder.write(u"engines/notes.md"_s, "\xff mine");
    install(v2);
    EXPECT_EQ(m_folder.read(u"engines/notes.md"_s), "\xff mine");
    for (const char* broken : {"{\"notes.md\": 1}", "[", "\xff"}) {
        m_folder.write(u"engines/.installed.json"_s, broken);
        install(v2);
        EXPECT_EQ(installed(), "{}");
    }
    EXPECT_EQ(m_folder.read(u"engines/.installed.json.broken"_s), "{\"notes.md\": 1}");
    EXPECT_EQ(m_folder.read(u"engines/.installed.json.broken-3"_s), "\xff");
}

TEST(EngineInstaller, mergesOnlyMissingFields) {
    const struct {
        const char* source;
        const char* target;
        const char* merged;
    } rows[] = {
        {"---\na: 1\n---\nS", "no block", "no block"},
        {"---\na: 1\n---\nS", "---\nb: 2", "---\nb: 2"},
        {"---\na: 1\n---\nS", "---\nb: 2\n---\nT", "---\nb: 2\na: 1\nversion: 1\n---\nT"},
        {"---\nA : 1\nversion: 7\njunk\n---\nS", "---\n a: 2\nVERSION: 3\n---\nT",
         "---\n a: 2\nversion: 7\n---\nT"},
        {"none", "---\na: 2\n---\nT", "---\na: 2\nversion: 1\n---\nT"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(EngineInstaller::mergeFields(QString::fromUtf8(row.source), QString::fromUtf8(row.target)),
                  QString::fromUtf8(row.merged));
    }
    EXPECT_EQ(EngineInstaller::version(u"---\nversion: x\n---"_s), 1);
    EXPECT_EQ(EngineInstaller::version(u"---\nversion: 202603021430\n---"_s), 202603021430);
    EXPECT_EQ(EngineInstaller::priorBuiltIns().size(), 5);
}
