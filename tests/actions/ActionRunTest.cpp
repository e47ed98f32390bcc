#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"
#include "actions/formats/ActionPrompt.h"
#include "actions/formats/ActionReport.h"
#include "actions/formats/ActionRun.h"

#include <QJsonArray>

#include <gtest/gtest.h>

using namespace lumbro;
using Status = ActionRun::Status;

namespace {

ActionRun sample() {
    return {
        .id = u"2026-03-02-0914-linear-0123ab"_s,
        .key = u"0123ab4567890123"_s,
        .app = u"Linear"_s,
        .connectorID = u"claude.ai Linear"_s,
        .icon = u"checklist"_s,
        .instruction = u"Add \"it\""_s,
        .content = u"- one\n- zwei ü"_s,
        .about = u"Sync"_s,
        .captureID = u"c"_s,
        .askThread = u"t"_s,
        .status = Status::done,
        .started = QDateTime(QDate(2026, 3, 2), QTime(9, 14, 5)),
        .finished = QDateTime(QDate(2026, 3, 2), QTime(9, 15, 0)),
        .summary = u"Added 1"_s,
        .items = {{.title = u"one"_s, .url = u"https://x.test/1"_s, .verified = true}, {.title = u"two"_s}},
        .error = u"e"_s};
}

std::optional<ActionRun> read(const QJsonObject& json) {
    return ActionRun::fromBytes(json::encode(json));
}

}  // namespace

TEST(ActionRun, itsFileHoldsAllOfIt) {
    ActionRun run = sample();
    EXPECT_EQ(read(run.toJson()), run);
    run.captureID = run.askThread = run.error = std::nullopt;
    run.finished.reset();
    run.items.clear();
    for (const char* word :
         {"queued", "running", "done", "unconfirmed", "failed", "stopped", "interrupted"}) {
        const auto status = ActionRun::statusFrom(QString::fromLatin1(word));
        ASSERT_TRUE(status) << word;
        run.status = *status;
        const QJsonObject json = run.toJson();
        EXPECT_EQ(json.value(u"status"), QString::fromLatin1(word));
        EXPECT_EQ(read(json), run);
        for (const char* absent : {"captureID", "askThread", "error", "finished"}) {
            EXPECT_FALSE(json.contains(QLatin1StringView(absent))) << absent;
        }
    }
}

TEST(ActionRun, aFileThatIsNoneGivesNothing) {
    for (const char* bytes : {"", "{", "[]", "null", "{}", "\xff\xfe\x01"}) {
        EXPECT_FALSE(ActionRun::fromBytes(bytes)) << bytes;
    }
    const QJsonObject good = sample().toJson();
    for (const char* key : {"id", "key", "app", "connectorID", "icon", "instruction", "content", "about",
                            "status", "started", "summary", "items"}) {
        QJsonObject json = good;
        json.remove(QLatin1StringView(key));
        EXPECT_FALSE(read(json)) << key;
    }
    const std::pair<const char*, QJsonValue> rows[] = {{"status", u"finished"_s},
                                                       {"status", u"Done"_s},
                                                       {"started", u"today"_s},
                                                       {"started", 12},
                                                       {"finished", u"soon"_s},
                                                       {"items", QJsonObject{}},
                                                       {"error", 5},
                                                       {"neverStarted", 1},
                                                       {"id", QJsonArray{}},
                                                       {"summary", QJsonValue()},
                                                       {"captureID", QJsonObject{}}};
    for (const auto& [key, value] : rows) {
        QJsonObject json = good;
        json.insert(QLatin1StringView(key), value);
        EXPECT_FALSE(read(json)) << key;
    }
}

TEST(ActionRun, itemsNeverFail) {
    QJsonObject json = sample().toJson();
    json.insert(u"items"_s, json::array(R"([7, null, {"title":3,"url":"  ","verified":"yes"},
                                           {"title":"a","url":" https://x.test ","verified":true},
                                           {"title":"b","url":" JavaScript:1","verified":true}])"));
    const auto run = read(json);
    ASSERT_TRUE(run);
    EXPECT_EQ(
        run->items,
        (QList<ActionRun::Item>{
            {}, {}, {}, {.title = u"a"_s, .url = u"https://x.test"_s, .verified = true}, {.title = u"b"_s}}));
}

TEST(ActionRun, theKeyIgnoresBlanksAroundTheContentAlone) {
    const QString key = ActionRun::keyFor(u"c"_s, u"a b"_s);
    // The start of the SHA-256 of "c", a newline and "a b".
    EXPECT_EQ(key, u"4ba697c791773ec1"_s);
    EXPECT_EQ(ActionRun::keyFor(u"c"_s, u"\n a b\t\n"_s), key);
    EXPECT_NE(ActionRun::keyFor(u"c"_s, u"a  b"_s), key);
    EXPECT_NE(ActionRun::keyFor(u"d"_s, u"a b"_s), key);
}

TEST(ActionRun, whatIsSaidBeforeARetryFitsTheStatus) {
    const std::pair<Status, const char*> rows[] = {
        {Status::running, "This is already running in Linear."},
        {Status::done, "You sent this to Linear at 9:14, and it worked. Doing it again may make duplicates."},
        {Status::stopped,
         "You sent this at 9:14. Stopped before it finished. Some changes may already be in Linear."},
        {Status::failed, "This failed at 9:14: It broke. You can try again."}};
    ActionRun run = sample();
    run.error = u"It broke."_s;
    for (const auto& [status, text] : rows) {
        run.status = status;
        EXPECT_EQ(run.beforeRetry(u"9:14"_s), QString::fromLatin1(text));
    }
    run.error.reset();
    EXPECT_EQ(run.beforeRetry(u"9:14"_s), u"This failed at 9:14: unknown error. You can try again."_s);
}

TEST(ActionRun, oneThatNeverStartedHasChangedNothing) {
    const std::pair<Status, const char*> rows[] = {
        {Status::stopped, "Stopped before it started, so nothing was changed in Linear."},
        {Status::interrupted, "Lumbro quit before this started, so nothing was changed in Linear."}};
    ActionRun run = sample();
    for (const auto& [status, text] : rows) {
        run.status = status;
        run.neverStarted = false;
        EXPECT_TRUE(run.checkFirst());
        EXPECT_EQ(run.aboutEnd(), run.checkFirst());
        run.neverStarted = true;
        EXPECT_FALSE(run.checkFirst());
        EXPECT_EQ(run.aboutEnd(), QString::fromLatin1(text));
        EXPECT_EQ(run.beforeRetry(u"9:14"_s), u"You sent this at 9:14. "_s + QString::fromLatin1(text));
        EXPECT_EQ(read(run.toJson()), run);
    }
}

TEST(ActionReport, isBelievedOnlyAsFarAsItCanBeShown) {
    struct Row {
        const char* output;
        std::optional<Status> status;
    };
    const Row rows[] = {
        {R"(RESULT: {"status":"done","summary":"s","items":[{"title":"a","verified":true}]})", Status::done},
        {"Fine.\n**result:** "
         "`{\"status\":\"DONE\",\"summary\":\"s\",\"items\":[{\"verified\":true}]}`\r\n```\n",
         Status::done},
        {R"(RESULT: {"status":"done","summary":"s","items":[]})", Status::unconfirmed},
        {R"(RESULT: {"status":"done","summary":"s"})", Status::unconfirmed},
        {R"(RESULT: {"status":"done","summary":"s","items":null})", Status::unconfirmed},
        {R"(RESULT: {"status":"done","summary":"s","items":[{"verified":true},{"verified":false}]})",
         Status::unconfirmed},
        {R"(RESULT: {"status":"done","summary":"s","items":[{"verified":"true"}]})", Status::unconfirmed},
        {R"(RESULT: {"status":"done","summary":"s","items":[{"verified":1}]})", Status::unconfirmed},
        {R"(RESULT: {"status":"done","summary":"s","items":[7]})", Status::unconfirmed},
        {R"(RESULT: {"status":"partial","summary":"s","items":[{"verified":true}]})", Status::unconfirmed},
        {R"(RESULT: {"status":"success","summary":"s","items":[{"verified":true}]})", Status::unconfirmed},
        {R"(RESULT: {"status":"Failed","summary":"s","items":[{"verified":true}]})", Status::failed},
        {R"(RESULT: {"status":"done","items":[{"verified":true}]})", std::nullopt},
        {R"(RESULT: {"status":true,"summary":"s","items":[{"verified":true}]})", std::nullopt},
        {R"(RESULT: {"status":"done","summary":"s","items":"all"})", std::nullopt},
        {R"(RESULT: {"status":"done","summary":"s","items":[{"verified":true}]} and more)", std::nullopt},
        {"RESULT: {\"status\":\"done\",\"summary\":\"s\",\"items\":[{\"verified\":true}]}\nRESULT: {\"sta",
         std::nullopt},
        {"RESULT:\n{\"status\":\"done\",\"summary\":\"s\",\"items\":[{\"verified\":true}]}", std::nullopt},
        {R"(The RESULT: {"status":"done","summary":"s","items":[{"verified":true}]})", std::nullopt},
        {"All done, everything is in Linear.", std::nullopt},
        {"", std::nullopt},
    };
    for (const Row& row : rows) {
        const auto report = ActionReport::in(QString::fromUtf8(row.output));
        EXPECT_EQ(report ? std::optional(report->finalStatus()) : std::nullopt, row.status) << row.output;
    }
}

TEST(ActionReport, aLinkThatLeadsElsewhereIsNoProof) {
    const std::pair<const char*, bool> rows[] = {
        {"https://x.test/1?a=b:c", true},
        {"HTTP://x.test", true},
        {"linear://issue/1", true},
        {"x.test/a:b", true},
        {"", true},
        {"javascript:alert(1)", false},
        {"JAVASCRIPT:1", false},
        {"file:///etc/passwd", false},
        {"data:text/html,x", false},
        {"http-evil:run", false},
        {"https\\n://x.test", false},
        {"mailto:a@x.test", false},
    };
    for (const auto& [url, isFit] : rows) {
        const QString line =
            uR"(RESULT: {"status":"done","summary":"s","items":[)"
            R"({"title":"a","verified":true},{"title":"b","url":"%1","verified":true}]})"_s;
        const auto report = ActionReport::in(line.arg(QString::fromLatin1(url)));
        ASSERT_TRUE(report) << url;
        EXPECT_EQ(report->finalStatus(), isFit ? Status::done : Status::unconfirmed) << url;
        EXPECT_EQ(report->items.value(1).url.has_value(), isFit && *url != '\0') << url;
    }
}

TEST(ActionReport, twoThatDisagreeAreNotBelieved) {
    const QString done =
        uR"(RESULT: {"status":"done","summary":"s","items":[{"title":"a","verified":true}]})"_s;
    const QString other =
        uR"(RESULT: {"status":"done","summary":"s","items":[{"title":"b","verified":true}]})"_s;
    const QString failed = uR"(RESULT: {"status":"failed","summary":"No."})"_s;
    const struct {
        QString output;
        Status status;
    } rows[] = {{done + u"\n"_s + done, Status::done},
                {other + u"\n"_s + done, Status::unconfirmed},
                {failed + u"\nOnce more.\n"_s + done, Status::unconfirmed},
                {done + u"\n"_s + failed, Status::failed},
                {u"RESULT: {\n"_s + done + u"\n"_s + done, Status::unconfirmed}};
    for (const auto& row : rows) {
        const auto report = ActionReport::in(row.output);
        ASSERT_TRUE(report) << qPrintable(row.output);
        EXPECT_EQ(report->finalStatus(), row.status) << qPrintable(row.output);
        EXPECT_EQ(report->summary, row.output.endsWith(failed) ? u"No."_s : u"s"_s);
    }
}

TEST(ActionPrompt, onlyTheUsersOwnWordsLiftTheGuard) {
    for (const char* text : {"Archive the old page", "please REMOVE it", "Undeleted", "to the Trash"}) {
        EXPECT_TRUE(actionPrompt::allowsDestructive(QString::fromLatin1(text))) << text;
    }
    for (const char* text : {"Add a page", "Destroy and purge it", ""}) {
        EXPECT_FALSE(actionPrompt::allowsDestructive(QString::fromLatin1(text))) << text;
    }
    ActionRun run = sample();
    EXPECT_EQ(actionPrompt::input(run),
              u"# INSTRUCTION\nAdd \"it\"\n\n# FROM\nSync\n\n# CONTENT\n- one\n- zwei ü"_s);
}
