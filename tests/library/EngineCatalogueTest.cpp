#include "LibraryFixture.h"

#include <sys/stat.h>

using namespace lumbro;

namespace {

class EngineCatalogueTest : public test::LibraryTest {
  protected:
    EngineCatalogueTest() { m_library.open(); }

    void write(const QString& id, const QString& fields) const {
        m_folder.write(u"engines/"_s + id + u".md"_s, (u"---\n"_s + fields + u"\n---\nDo it."_s).toUtf8());
    }
    static QStringList ids(const QList<Engine>& engines) {
        QStringList ids;
        for (const Engine& engine : engines) {
            ids.append(engine.id);
        }
        return ids;
    }
    QString path(const QString& id) const { return m_folder.path(u"engines/"_s + id + u".md"_s); }
};

const QString valid = u"---\nname: N\n---\nDo it."_s;

}  // namespace

TEST_F(EngineCatalogueTest, sortsByOrderThenNameAndPartsTheHidden) {
    write(u"a"_s, u"name: b\norder: 2"_s);
    write(u"b"_s, u"name: B\norder: 2"_s);
    write(u"c"_s, u"name: z\norder: 1\nsuggest: [live]"_s);
    write(u"d"_s, u"name: d\nhidden: true"_s);
    write(u"e"_s, u"name: e\nscope: person"_s);
    m_folder.write(u"engines/.#a.md"_s, "an editor's lock");
    m_library.reloadEngines(true);
    EXPECT_EQ(ids(m_library.engines()), (QStringList{u"c"_s, u"b"_s, u"a"_s, u"e"_s}));
    EXPECT_EQ(ids(m_library.systemEngines()), QStringList{u"d"_s});
    EXPECT_EQ(ids(m_library.enginesIn(EngineScope::person)), QStringList{u"e"_s});
    EXPECT_EQ(ids(m_library.handoffEngines()), (QStringList{u"b"_s, u"a"_s}));
    EXPECT_EQ(ids(m_library.enginesSuggestedAt(u"live"_s)), QStringList{u"c"_s});
    EXPECT_TRUE(m_library.engine(u"d"_s));
    EXPECT_TRUE(m_library.engineWarnings().isEmpty());
}

TEST_F(EngineCatalogueTest, aBrokenFileIsAWarningAndStopsNoOther) {
    write(u"good"_s, u"name: Good"_s);
    m_folder.write(u"engines/bad.md"_s, "no block");
    m_folder.write(u"engines/binary.md"_s, "\xff");
    m_folder.write(u"engines/folder.md/x"_s, "");
    ASSERT_EQ(mkfifo(path(u"pipe"_s).toUtf8().constData(), 0600), 0);
    QFile::link(m_folder.path(u"nowhere"_s), path(u"link"_s));
    m_library.reloadEngines(false);
    EXPECT_EQ(m_library.engineWarnings(),
              (QStringList{u"bad.md: missing the --- frontmatter block at the top"_s,
                           u"binary.md: can't read the file"_s, u"folder.md: can't read the file"_s,
                           u"link.md: can't read the file"_s, u"pipe.md: can't read the file"_s}));
    EXPECT_EQ(ids(m_library.engines()), QStringList{u"good"_s});
    m_library.reloadEngines(true);
    EXPECT_EQ(log().count(u"engine bad.md: missing"), 1);
}

TEST_F(EngineCatalogueTest, readsAgainOnlyWhenAFileHasComeGoneOrChanged) {
    write(u"a"_s, u"name: A"_s);
    write(u"b"_s, u"name: B"_s);
    ASSERT_TRUE(changeDate(path(u"a"_s), at(9, 0)));
    ASSERT_TRUE(changeDate(path(u"b"_s), at(23, 0)));
    m_library.reloadEngines(false);
    const test::SignalCounter changes(&m_library, &ContextLibrary::enginesChanged);

    write(u"a"_s, u"name: A2"_s);
    ASSERT_TRUE(changeDate(path(u"a"_s), at(9, 0)));
    m_library.reloadEngines(false);
    EXPECT_EQ(changes.count(), 0) << "nothing shows that it changed";
    ASSERT_TRUE(changeDate(path(u"a"_s), at(8, 0)));
    m_library.reloadEngines(false);
    EXPECT_EQ(changes.count(), 1) << "an older copy, and not the newest file";
    QFile::remove(path(u"a"_s));
    m_library.reloadEngines(false);
    EXPECT_EQ(changes.count(), 2);
    m_library.reloadEngines(true);
    EXPECT_EQ(changes.count(), 2);
}

TEST_F(EngineCatalogueTest, notesEnhanceMeetingsUnlessTheUserSaysOtherwise) {
    const struct {
        QString notes;
        QString other;
        QString chosen;
    } rows[] = {
        {u"name: N\nauto: true\norder: 9"_s, u"name: O\nauto: true"_s, u"notes"_s},
        {u"name: N\nauto: true\nhidden: true"_s, u"name: O\nauto: true"_s, u"other"_s},
        {u"name: N"_s, u"name: O\nauto: true"_s, u"other"_s},
        {u"name: N\nhidden: true"_s, u"name: O\nauto: true\nscope: library"_s, u"notes"_s},
    };
    for (const auto& row : rows) {
        write(u"notes"_s, row.notes);
        write(u"other"_s, row.other);
        m_library.reloadEngines(true);
        EXPECT_EQ(m_library.enhanceEngine()->id, row.chosen) << row.notes.toStdString();
    }
    EXPECT_TRUE(m_library.autoEngines().isEmpty());
    QFile::remove(path(u"notes"_s));
    m_library.reloadEngines(true);
    EXPECT_FALSE(m_library.enhanceEngine());
}

TEST_F(EngineCatalogueTest, savesRenamesAndRefuses) {
    EXPECT_EQ(m_library.saveEngine(u"none"_s, path(u"x"_s)).error().message,
              u"missing the --- frontmatter block at the top"_s);
    EXPECT_FALSE(m_folder.has(u"engines/x.md"_s));
    EXPECT_EQ(m_library.saveEngine(valid, path(u"x"_s))->id, u"x"_s);
    EXPECT_EQ(m_library.saveEngine(valid, path(u"x"_s), u"y"_s)->id, u"y"_s);
    EXPECT_EQ(ids(m_library.engines()), QStringList{u"y"_s});
    EXPECT_TRUE(m_library.saveEngine(valid, path(u"z"_s)));
    EXPECT_EQ(m_library.saveEngine(valid, path(u"y"_s), u"z"_s)->id, u"y"_s) << "the name is taken";
    EXPECT_EQ(m_library.saveEngine(valid, path(u"y"_s), u"../Out"_s)->id, u"out"_s);
    EXPECT_TRUE(m_library.saveEngine(valid, m_folder.path(u"none/x.md"_s))
                    .error()
                    .message.startsWith(u"can't write x.md: "));
}

TEST_F(EngineCatalogueTest, aNewEngineThatIsLeftAsItIsGoesAgain) {
    const auto first = m_library.createEngine();
    const auto second = m_library.createEngine();
    ASSERT_TRUE(first && second);
    EXPECT_EQ(second->id, u"new-engine-2"_s);
    EXPECT_EQ(second->shortcut, u"new-engine-2"_s);
    EXPECT_EQ(second->result, EngineResult::chat());
    m_folder.write(u"engines/new-engine.md"_s, m_folder.read(u"engines/new-engine.md"_s) + "x");
    m_library.discardIfTemplate(*first);
    m_library.discardIfTemplate(*second);
    EXPECT_EQ(ids(m_library.engines()), QStringList{u"new-engine"_s});
}

TEST_F(EngineCatalogueTest, aDeletedBuiltInIsRememberedAndAFailureIsGivenBack) {
    m_folder.write(u"built-ins/notes.md"_s, valid.toUtf8());
    m_library.open();
    write(u"mine"_s, u"name: Mine"_s);
    m_library.reloadEngines(false);
    EXPECT_EQ(m_library.builtInEngineFiles(), QSet<QString>{u"notes.md"_s});
    EXPECT_TRUE(m_library.deleteEngine(m_library.engine(u"mine"_s).value()));
    const Engine notes = m_library.engine(u"notes"_s).value();
    EXPECT_TRUE(m_library.deleteEngine(notes));
    EXPECT_TRUE(m_library.engines().isEmpty());
    EXPECT_EQ(m_folder.read(u"engines/.installed.json"_s), "{\n  \"notes.md\": \"deleted\"\n}");
    m_library.open();
    EXPECT_FALSE(m_library.engine(u"notes"_s));
    EXPECT_FALSE(m_library.deleteEngine(notes));
    EXPECT_TRUE(log().contains(u"INFO [library] deleted engine notes.md\n"));
}
