#include "LumbroCore/Literals.h"
#include "engines/formats/EngineApps.h"
#include "engines/formats/EngineDraft.h"
#include "engines/formats/EngineReply.h"
#include "engines/formats/InboxSeen.h"

#include <QDir>

#include <gtest/gtest.h>

using namespace lumbro;

namespace {

const QString file =
    u"---\n# mine\nname: Follow-up # for Slack\nMood: calm\nname2: x\nresult: action: Slack\n"
    "inputs: [voice, notes]\nsuggest: ask\nversion: 3\n---\n\nWrite it.\n"_s;

EngineDraft draftOf(const QString& text) {
    return {Engine::parse(text, u"/engines/followup.md"_s).value(), text};
}

}  // namespace

TEST(EngineDraft, writesBackOnlyWhatHasChanged) {
    const EngineDraft untouched = draftOf(file);
    EXPECT_EQ(untouched.output, EngineDraft::Output::action);
    EXPECT_EQ(untouched.app, u"slack"_s);
    EXPECT_EQ(untouched.written(file), file);
    EXPECT_EQ(untouched.written(u"anything"_s), u"anything"_s);

    EngineDraft draft = untouched;
    draft.name = u"Email"_s;
    draft.voice = false;
    draft.output = EngineDraft::Output::handoff;
    draft.description = u"Short"_s;
    draft.suggest = {u"notes"_s, u"ask"_s};
    EXPECT_EQ(draft.written(file),
              u"---\n# mine\nname: Email\nMood: calm\nname2: x\nresult: handoff\ninputs: [notes]\n"
              "suggest: [ask, notes]\nversion: 3\ndescription: Short\n---\n\nWrite it.\n"_s);
    draft = untouched;
    draft.prompt = u"Write more."_s;
    EXPECT_EQ(draft.written(file), QString(file).replace(u"\nWrite it.\n"_s, u"Write more.\n"_s));
    EXPECT_EQ(draft.engine()->prompt, u"Write more."_s);
    draft.prompt.clear();
    EXPECT_FALSE(draft.engine()) << "an engine needs a prompt";
}

TEST(EngineDraft, aNewScopeBringsItsPlaces) {
    EngineDraft draft = draftOf(u"---\nname: A\nauto: true\n---\nP\n"_s);
    const EngineDraft before = draft;
    draft.change(EngineScope::meeting);
    EXPECT_EQ(draft, before);
    draft.change(EngineScope::person);
    EXPECT_EQ(draft.suggest, QSet<QString>{u"person"_s});
    EXPECT_FALSE(draft.automatic);
    EXPECT_EQ(draft.output, EngineDraft::Output::chat);
    draft.change(EngineScope::meeting);
    EXPECT_EQ(draft.suggest, (QSet<QString>{u"notes"_s, u"ask"_s}));
    EXPECT_EQ(draft.output, EngineDraft::Output::chat);
    EngineDraft hidden = draftOf(u"---\nname: A\nhidden: true\nscope: meeting\n---\nP\n"_s);
    hidden.change(EngineScope::library);
    EXPECT_EQ(hidden.output, EngineDraft::Output::handoff);
}

TEST(EngineText, setsKeysAsTheReaderReadsThem) {
    struct Row {
        QString text;
        QList<EngineField> fields;
        std::optional<QString> prompt;
        QString result;
    };
    const std::vector<Row> rows = {
        {u"---\nname: A\nname: B\n---\nP"_s, {{u"name"_s, u"C"_s}}, {}, u"---\nname: C\n---\nP"_s},
        {u"---\n NAME : A\n---\nP"_s, {{u"name"_s, u"C"_s}}, {}, u"---\nname: C\n---\nP"_s},
        {u"---\nname: A\n---\nP"_s, {{u"name"_s, std::nullopt}}, {}, u"---\n---\nP"_s},
        {u"---\r\nname: A\r\n---\r\nP\r\n"_s, {{u"name"_s, u"C"_s}}, {}, u"---\r\nname: C\r\n---\r\nP\r\n"_s},
        {u"---\nname: A\n---"_s, {}, u"P"_s, u"---\nname: A\n---\nP\n"_s},
        {u"just a prompt"_s, {{u"name"_s, u"C"_s}}, {}, u"---\nname: C\n---\njust a prompt\n"_s},
        {u"---\nname: A\n"_s, {{u"name"_s, u"C\nD"_s}}, u"P"_s, u"---\nname: C D\n---\nP\n"_s},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(engineText(row.text, row.fields, row.prompt), row.result) << qPrintable(row.text);
    }
}

TEST(EngineReply, takesTheFileOutOfWhatTheAgentSays) {
    const EngineDraft blank = draftOf(u"---\nname: New\nscope: meeting\ninputs: [notes]\n---\nP\n"_s);
    const QString plain = u"---\nname: N\n---\nDo\n\n```\ncode\n```\n"_s;
    EXPECT_EQ(engineReply::draft(plain, blank)->prompt, u"Do\n\n```\ncode\n```"_s)
        << "a block of code within the prompt is the prompt's";
    EXPECT_EQ(engineReply::draft(u"Sure.\n```md\n"_s + plain + u"```\n\n"_s, blank)->prompt,
              u"Do\n\n```\ncode\n```"_s);
    EXPECT_EQ(engineReply::draft(u"---\nname: \" 'N' \"\n---\nDo"_s, blank)->name, u"N"_s);
    EXPECT_EQ(engineReply::draft(plain, blank)->inputs, QStringList{u"notes"_s});
    for (const QString& reply : {u""_s, u"---"_s, u"```\n```"_s, u"---\nname: N\n---\n"_s,
                                 u"---\nname: \" \"\n---\nDo"_s, u"no"_s}) {
        EXPECT_FALSE(engineReply::draft(reply, blank)) << qPrintable(reply);
    }
}

TEST(EngineApps, haveNamesForPeople) {
    EXPECT_EQ(EngineApps::name(u"email"_s), u"Mail"_s);
    EXPECT_EQ(EngineApps::name(u"Reminders"_s), u"Reminders"_s);
    EXPECT_EQ(EngineApps::name(u"google drive"_s), u"Google Drive"_s);
    EXPECT_EQ(EngineApps::app(u"Slack"_s)->note, u"connect it in Claude to use it"_s);
    EXPECT_FALSE(EngineApps::app(u"nowhere"_s));
    EXPECT_EQ(EngineApps::tilde(QDir::homePath() + u"/a"_s), u"~/a"_s);
    EXPECT_EQ(EngineApps::tilde(QDir::homePath() + u"more"_s), QDir::homePath() + u"more"_s);
}

TEST(InboxSeen, readsOnlyLinesOfItsOwn) {
    const QString hash(64, u'a');
    const QByteArray line = hash.toUtf8() + " 2026-03-02-091405-a b\n";
    EXPECT_EQ(inboxSeen::parse("x\n" + line + QByteArray(64, 'A') + " r\n" + QByteArray(64, 'b') + "\n\xff"),
              (QMap<QString, QString>{{hash, u"2026-03-02-091405-a b"_s}}));
    EXPECT_EQ(inboxSeen::with("edited", hash, u"run"_s), "edited\n" + hash.toUtf8() + " run\n");
    EXPECT_FALSE(inboxSeen::with({}, hash, u"two\nlines"_s));
    EXPECT_FALSE(inboxSeen::with({}, u"short"_s, u"run"_s));
}
