// Stands in for the agents' command lines: `claude -p …`, `codex exec …`, `codex login status`. Says what the
// real ones say, or fails as they fail. Steered by the environment, so that any test or script can use it:
//
//   FAKE_AGENT_MODE    how to behave, one of the names in `modes` below; unset answers
//   FAKE_AGENT_REPLY   the reply's text, in place of one made from the prompt
//   FAKE_AGENT_MEMORY  the reply to the librarian, "{}" when unset
//   FAKE_AGENT_TEXT    the text of the modes "error" and "stderr"
//   FAKE_AGENT_STATUS  the exit status of those two, 1 when unset
//   FAKE_AGENT_GATE    a file: nothing is answered before it exists
//   FAKE_AGENT_LOG     a file: one JSON line is added to it at the start of each run, with "argv", "stdin",
//                      "cwd", "pid" and "env"
//   FAKE_AGENT_TOOLS   names of the tools in the `init` event, with commas between

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int statusOnTerm = 143;

struct Call {
    QStringList argv;
    QByteArray input;
    bool isCodex = false;
    bool isStream = false;

    QString after(const QString& option) const {
        const auto at = argv.indexOf(option);
        return at < 0 ? QString() : argv.value(at + 1);
    }
    QString systemPrompt() const {
        return isCodex ? argv.filter(u"developer_instructions="_s).value(0) : after(u"--system-prompt"_s);
    }
};

void print(const QByteArray& bytes) {
    std::fwrite(bytes.constData(), 1, static_cast<size_t>(bytes.size()), stdout);
    std::fflush(stdout);
}

void printLine(const QJsonObject& object) {
    print(QJsonDocument(object).toJson(QJsonDocument::Compact) + '\n');
}

QByteArray readInput() {
    QFile input;
    return input.open(stdin, QIODevice::ReadOnly) ? input.readAll() : QByteArray();
}

void record(const Call& call) {
    QFile log(qEnvironmentVariable("FAKE_AGENT_LOG"));
    if (log.fileName().isEmpty() || !log.open(QIODevice::Append | QIODevice::Unbuffered)) {
        return;
    }
    QJsonObject environment;
    const auto variables = QProcessEnvironment::systemEnvironment();
    for (const QString& name : variables.keys()) {
        environment.insert(name, variables.value(name));
    }
    const QJsonObject entry{{u"argv"_s, QJsonArray::fromStringList(call.argv)},
                            {u"stdin"_s, QString::fromUtf8(call.input)},
                            {u"cwd"_s, QDir::currentPath()},
                            {u"pid"_s, qint64(getpid())},
                            {u"env"_s, environment}};
    log.write(QJsonDocument(entry).toJson(QJsonDocument::Compact) + '\n');
}

QString notesFrom(const QByteArray& input) {
    QStringList points;
    for (const QString& line : QString::fromUtf8(input).split(u'\n', Qt::SkipEmptyParts)) {
        if (!line.startsWith(u'#') && points.size() < 5) {
            points << u"- "_s + line.trimmed();
        }
    }
    return u"## Summary\n\n%1\n\n## Action items\n\n- [ ] Send the draft (owner: Me, due: Friday)"_s.arg(
        points.join(u'\n'));
}

QString reply(const Call& call) {
    if (qEnvironmentVariableIsSet("FAKE_AGENT_REPLY")) {
        return qEnvironmentVariable("FAKE_AGENT_REPLY");
    }
    const QString prompt = call.systemPrompt();
    if (prompt.contains(u"word title")) {
        return u"Weekly Sync"_s;
    }
    if (prompt.contains(u"Reply with exactly: ok")) {
        return u"ok"_s;
    }
    if (prompt.contains(u"librarian")) {
        return qEnvironmentVariable("FAKE_AGENT_MEMORY", u"{}"_s);
    }
    if (prompt.contains(u"the user's memory")) {
        return u"You agreed to send the draft on Friday.\n\nSOURCES: none"_s;
    }
    return notesFrom(call.input);
}

void printInit(const QStringList& tools) {
    printLine({{u"type"_s, u"system"_s},
               {u"subtype"_s, u"init"_s},
               {u"tools"_s, QJsonArray::fromStringList(tools)}});
}

void printPart(const QJsonObject& event) {
    printLine(
        {{u"type"_s, u"stream_event"_s}, {u"parent_tool_use_id"_s, QJsonValue::Null}, {u"event"_s, event}});
}

void beginMessage() {
    printPart({{u"type"_s, u"message_start"_s}});
    printPart({{u"type"_s, u"content_block_start"_s},
               {u"content_block"_s, QJsonObject{{u"type"_s, u"text"_s}, {u"text"_s, QString()}}}});
}

/// Prints a text the way it comes from a model: a few characters at a time.
void type(const QString& text) {
    for (qsizetype at = 0; at < text.size(); at += 3) {
        printPart({{u"type"_s, u"content_block_delta"_s},
                   {u"delta"_s, QJsonObject{{u"type"_s, u"text_delta"_s}, {u"text"_s, text.mid(at, 3)}}}});
    }
}

void printResult(const Call& call, const QString& text, bool isError = false) {
    if (call.isCodex) {
        printLine({{u"type"_s, u"thread.started"_s}});
        printLine({{u"type"_s, u"item.completed"_s},
                   {u"item"_s, QJsonObject{{u"type"_s, u"agent_message"_s}, {u"text"_s, text}}}});
        printLine({{u"type"_s, u"turn.completed"_s}});
        return;
    }
    if (call.isStream) {
        printInit(qEnvironmentVariable("FAKE_AGENT_TOOLS").split(u',', Qt::SkipEmptyParts));
    }
    printLine({{u"type"_s, u"result"_s},
               {u"subtype"_s, u"success"_s},
               {u"is_error"_s, isError},
               {u"num_turns"_s, 1},
               {u"result"_s, text}});
}

int statusOfFailure() {
    bool isSet = false;
    const int status = qEnvironmentVariableIntValue("FAKE_AGENT_STATUS", &isSet);
    return isSet ? status : 1;
}

/// Waits for a signal; the real one leaves with this status when it is asked to.
int waitForTerm() {
    while (true) {
        pause();
    }
}

void waitForGate() {
    const QString gate = qEnvironmentVariable("FAKE_AGENT_GATE");
    while (!gate.isEmpty() && !QFileInfo::exists(gate)) {
        usleep(5000);
    }
}

int answer(const Call& call) {
    waitForGate();
    printResult(call, reply(call));
    return 0;
}

/// Says what it is about to do, begins the reply, and ends it behind the gate.
int typing(const Call& call) {
    const QString text = reply(call);
    if (call.argv.contains(u"--include-partial-messages"_s)) {
        beginMessage();
        type(u"Let me look that up."_s);
        beginMessage();
        type(text.first(text.size() / 2));
        waitForGate();
        type(text.sliced(text.size() / 2));
    }
    return answer(call);
}

int flood(const Call&) {
    const QByteArray piece(1'000'000, 'g');
    for (int i = 0; i < 100; ++i) {
        print(piece);
    }
    return 0;
}

int stubborn(const Call&) {
    // Takes its time over a request to end, and says nothing.
    std::signal(SIGTERM, [](int) {
        usleep(200'000);
        _exit(statusOnTerm);
    });
    return waitForTerm();
}

int grandchild(const Call& call) {
    if (fork() == 0) {
        // Holds the pipes, but not for ever.
        alarm(60);
        waitForTerm();
    }
    return answer(call);
}

int killed(const Call&) {
    std::raise(SIGKILL);
    return 0;
}

int withoutTools(const Call&) {
    printInit({});
    return waitForTerm();
}

int error(const Call& call) {
    if (call.isCodex) {
        printLine({{u"type"_s, u"turn.failed"_s},
                   {u"error"_s, QJsonObject{{u"message"_s, qEnvironmentVariable("FAKE_AGENT_TEXT")}}}});
    } else {
        printResult(call, qEnvironmentVariable("FAKE_AGENT_TEXT"), true);
    }
    return statusOfFailure();
}

int onStderr(const Call&) {
    const QByteArray text = qgetenv("FAKE_AGENT_TEXT") + '\n';
    std::fwrite(text.constData(), 1, static_cast<size_t>(text.size()), stderr);
    return statusOfFailure();
}

int reconnecting(const Call& call) {
    printLine({{u"type"_s, u"error"_s}, {u"message"_s, u"Reconnecting… 1/5"_s}});
    return answer(call);
}

int noisy(const Call& call) {
    const QByteArray noise(3'000'000, 'e');
    std::fwrite(noise.constData(), 1, static_cast<size_t>(noise.size()), stderr);
    return answer(call);
}

const std::map<QString, int (*)(const Call&)>& modes() {
    static const std::map<QString, int (*)(const Call&)> table{
        {u"answer"_s, answer},
        {u"typing"_s, typing},
        {u"silent"_s, [](const Call&) { return 0; }},
        {u"garbage"_s, [](const Call&) { return print("\xff\xfe\x00 {{{ not json"), 0; }},
        {u"flood"_s, flood},
        {u"half"_s, [](const Call&) { return print("{\"type\":\"result\",\"result\":\"hal"), 0; }},
        // Reads nothing: standard input is closed before the answer.
        {u"deaf"_s, answer},
        {u"hang"_s, [](const Call&) { return waitForTerm(); }},
        {u"stubborn"_s, stubborn},
        {u"grandchild"_s, grandchild},
        {u"killed"_s, killed},
        {u"exit143"_s, [](const Call&) { return statusOnTerm; }},
        {u"no-tools"_s, withoutTools},
        {u"error"_s, error},
        {u"stderr"_s, onStderr},
        {u"empty"_s, [](const Call& call) { return printResult(call, QString()), 0; }},
        {u"cut-last-line"_s,
         [](const Call& call) {
             return printResult(call, u"whole"_s), print("{\"type\":\"result\",\"re"), 0;
         }},
        {u"reconnecting"_s, reconnecting},
        {u"noisy"_s, noisy},
    };
    return table;
}

}  // namespace

int main(int argc, char** argv) {
    std::signal(SIGTERM, [](int) { _exit(statusOnTerm); });
    Call call;
    for (int i = 0; i < argc; ++i) {
        call.argv << QString::fromUtf8(argv[i]);
    }
    const QString first = call.argv.value(1);
    call.isCodex = first == u"exec" || first == u"login";
    call.isStream = call.argv.contains(u"stream-json"_s);
    const QString mode = qEnvironmentVariable("FAKE_AGENT_MODE", u"answer"_s);
    if (first == u"login") {
        record(call);
        return mode == u"error" ? 1 : 0;
    }
    if (mode == u"deaf") {
        close(STDIN_FILENO);
    } else {
        call.input = readInput();
    }
    record(call);
    const auto found = modes().find(mode);
    return found == modes().end() ? 64 : found->second(call);
}
