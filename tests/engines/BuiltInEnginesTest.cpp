#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"
#include "engines/formats/Engine.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace lumbro;

namespace {

Engine builtIn(const QString& id) {
    const QString path = u":/engines/"_s + id + u".md"_s;
    const auto engine = Engine::parse(readTextFile(path).value_or(QString()), path);
    EXPECT_TRUE(engine) << id.toStdString();
    return engine.value_or(Engine());
}

}  // namespace

TEST(BuiltInEngines, areWholeAndDescribed) {
    const QStringList names = QDir(u":/engines"_s).entryList({u"*.md"_s});
    EXPECT_EQ(names.size(), 11);
    for (const QString& name : names) {
        const Engine engine = builtIn(name.chopped(3));
        EXPECT_EQ(engine.shortcut, engine.id);
        EXPECT_FALSE(engine.description.isEmpty()) << name.toStdString();
    }
}

TEST(BuiltInEngines, standWhereTheApplicationLooksForThem) {
    EXPECT_EQ(builtIn(u"notes"_s).resultLabel(), u"After every meeting"_s);
    EXPECT_EQ(builtIn(u"prep"_s).resultLabel(), u"Before meetings"_s);
    EXPECT_EQ(builtIn(u"ideas"_s).resultLabel(), u"Every evening"_s);
    for (const QString& id : {u"content"_s, u"followup"_s}) {
        const Engine engine = builtIn(id);
        EXPECT_TRUE(!engine.hidden && !engine.automatic && engine.usesVoice) << id.toStdString();
        EXPECT_EQ(engine.result, EngineResult::handoff()) << id.toStdString();
        EXPECT_EQ(engine.scope, EngineScope::meeting) << id.toStdString();
    }
    EXPECT_FALSE(builtIn(u"notes"_s).hidden);
}

TEST(BuiltInEngines, askForTheFormsThatOurReadersKnow) {
    EXPECT_TRUE(builtIn(u"notes"_s).prompt.contains(u"\n- [ ] Owner — task"));
    EXPECT_TRUE(builtIn(u"followup"_s).prompt.contains(u"\n**Subject:** "));
    EXPECT_TRUE(builtIn(u"content"_s).prompt.contains(u"\n## Carousel"));
    EXPECT_TRUE(builtIn(u"content"_s).prompt.contains(u"\n## TikTok slideshow"));
    EXPECT_TRUE(builtIn(u"content"_s).prompt.contains(u"\n### "));
    EXPECT_TRUE(
        builtIn(u"ideas"_s).prompt.contains(uR"({"ideas":[{"hook":"…","angle":"…","capture":"…"}]})"));
    for (const QString& id :
         {u"grammar"_s, u"improve"_s, u"shorten"_s, u"lengthen"_s, u"formal"_s, u"deslop"_s}) {
        const Engine engine = builtIn(id);
        EXPECT_EQ(engine.scope, EngineScope::selection) << id.toStdString();
        EXPECT_EQ(engine.prompt.count(u"\n<<<GRAVELTON-NOTES>>>\n"), 1) << id.toStdString();
    }
}
