#include "LumbroCore/Literals.h"
#include "engines/formats/Engine.h"

#include <QDir>

#include <functional>

#include <gtest/gtest.h>

using namespace lumbro;

namespace {

std::expected<Engine, Engine::LoadError> parse(const QString& header, const QString& body = u"Do it."_s) {
    return Engine::parse(u"---\n"_s + header + u"\n---\n"_s + body, u"/e/my-engine.md"_s);
}

Engine engineWith(const QString& fields) {
    return parse(u"name: E\n"_s + fields).value_or(Engine());
}

}  // namespace

TEST(Engine, takesEveryDefault) {
    const Engine engine = parse(u"name: Mine"_s, u"\n  Do it.\n\n"_s).value();
    EXPECT_EQ(engine.id, u"my-engine"_s);
    EXPECT_EQ(engine.icon, u"wand.and.stars"_s);
    EXPECT_EQ(engine.model, u"sonnet"_s);
    EXPECT_EQ(engine.order, 100);
    EXPECT_EQ(engine.version, 1);
    EXPECT_EQ(engine.shortcut, u"my-engine"_s);
    EXPECT_EQ(engine.scope, EngineScope::meeting);
    EXPECT_EQ(engine.result, EngineResult::handoff());
    EXPECT_EQ(engine.suggest, (QStringList{u"notes"_s, u"ask"_s}));
    EXPECT_EQ(engine.prompt, u"Do it."_s);
    EXPECT_FALSE(engine.usesVoice || engine.hidden || engine.automatic || engine.watch || engine.timeout);
}

TEST(Engine, failsForThreeReasonsOnly) {
    EXPECT_EQ(Engine::parse(u"name: x"_s, {}).error().message,
              u"missing the --- frontmatter block at the top"_s);
    EXPECT_EQ(parse(u"icon: x"_s).error().message, u"frontmatter needs a `name:`"_s);
    EXPECT_EQ(parse(u"name: ''"_s).error().message, u"frontmatter needs a `name:`"_s);
    EXPECT_EQ(parse(u"name: x"_s, u" \n"_s).error().message, u"the prompt below the frontmatter is empty"_s);
    EXPECT_TRUE(parse(u"name: x\nscope: no\norder: many\ntimeout: soon\nversion: 1.5\nwatch: here"_s));
}

TEST(Engine, readsEachField) {
    const struct {
        const char* fields;
        std::function<bool(const Engine&)> holds;
    } rows[] = {
        {"order: +7", [](const Engine& e) { return e.order == 7; }},
        {"order: -7", [](const Engine& e) { return e.order == -7; }},
        {"order: 7x", [](const Engine& e) { return e.order == 100; }},
        {"version: 3", [](const Engine& e) { return e.version == 3; }},
        {"version: 202603021430", [](const Engine& e) { return e.version == 202603021430; }},
        {"order: -9000000000", [](const Engine& e) { return e.order == -9000000000; }},
        {"timeout: 1e3", [](const Engine& e) { return e.timeout == 1000.0; }},
        {"timeout: nan", [](const Engine& e) { return !e.timeout; }},
        {"shortcut: /fu/", [](const Engine& e) { return e.shortcut == u"fu"; }},
        {"shortcut: / /", [](const Engine& e) { return e.shortcut == u"my-engine"; }},
        {"hidden: TRUE", [](const Engine& e) { return e.hidden && e.suggest.isEmpty(); }},
        {"hidden: true", [](const Engine& e) { return e.scope == EngineScope::library; }},
        {"hidden: true\nscope: Person", [](const Engine& e) { return e.scope == EngineScope::person; }},
        {"hidden: yes", [](const Engine& e) { return !e.hidden; }},
        {"watch: /in\nhidden: false", [](const Engine& e) { return e.hidden && e.watch == u"/in"; }},
        {"watch: in", [](const Engine& e) { return !e.hidden && !e.watch; }},
        {"workdir: ~/w/", [](const Engine& e) { return e.workdir == QDir::homePath() + u"/w"_s; }},
        {"scope: library", [](const Engine& e) { return e.suggest == QStringList{u"home"_s, u"ask"_s}; }},
        {"scope: company", [](const Engine& e) { return e.suggest == QStringList{u"company"_s}; }},
        {"scope: selection", [](const Engine& e) { return e.suggest.isEmpty(); }},
        {"suggest:", [](const Engine& e) { return e.suggest.isEmpty(); }},
        {"suggest: [Live]", [](const Engine& e) { return e.suggest == QStringList{u"live"_s}; }},
        {"inputs: [Notes, VOICE]", [](const Engine& e) { return e.usesVoice && e.inputs[0] == u"notes"; }},
        {"tools: [Read, Grep]", [](const Engine& e) { return e.tools == QStringList{u"Read"_s, u"Grep"_s}; }},
        {"auto: True", [](const Engine& e) { return e.automatic; }},
    };
    for (const auto& row : rows) {
        EXPECT_TRUE(row.holds(engineWith(QString::fromLatin1(row.fields)))) << row.fields;
    }
}

TEST(EngineResult, readsTheThreeForms) {
    const struct {
        const char* value;
        EngineResult result;
    } rows[] = {
        {"action", EngineResult::handoff()},
        {"action: ", EngineResult::handoff()},
        {" ACTION: Slack ", EngineResult::action(u"slack"_s)},
        {"Chat", EngineResult::chat()},
        {"chat!", EngineResult::handoff()},
    };
    for (const auto& row : rows) {
        const EngineResult result = EngineResult::parsing(QString::fromLatin1(row.value));
        EXPECT_EQ(result, row.result) << row.value;
        EXPECT_EQ(EngineResult::parsing(result.text()), result);
    }
    EXPECT_EQ(EngineResult::parsing(std::nullopt), EngineResult::handoff());
    EXPECT_EQ(EngineResult::appName(u"EMAIL"_s), u"Mail"_s);
    EXPECT_EQ(EngineResult::appName(u"google calendar"_s), u"Google Calendar"_s);
}

TEST(Engine, saysWhereItsResultAppears) {
    const std::pair<const char*, const char*> rows[] = {
        {"auto: true", "After every meeting"},
        {"auto: true\nscope: person", "Saves a hand-off"},
        {"watch: /in", "When a file arrives"},
        {"result: chat", "Answers in chat"},
        {"result: action: google calendar", "Prepares Google Calendar"},
        {"hidden: true", "On its own"},
    };
    for (const auto& [fields, label] : rows) {
        EXPECT_EQ(engineWith(QString::fromLatin1(fields)).resultLabel().toStdString(), label) << fields;
    }
    Engine engine = engineWith(u"hidden: true"_s);
    engine.id = u"prep"_s;
    EXPECT_EQ(engine.resultLabel(), u"Before meetings"_s);
    engine.id = u"ideas"_s;
    EXPECT_EQ(engine.resultLabel(), u"Every evening"_s);
}

TEST(Engine, isFoundByNameShortcutAndId) {
    const Engine engine = engineWith(u"shortcut: fu"_s);
    for (const char* query : {"", " / ", "/FU", "my-e", "e "}) {
        EXPECT_TRUE(engine.matches(QString::fromLatin1(query))) << query;
    }
    EXPECT_FALSE(engine.matches(u"x"_s));
}
