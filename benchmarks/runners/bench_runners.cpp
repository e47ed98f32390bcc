// What a run adds to its agent's own time: the time of a run through the provider choice, less that of the
// bare process with the same arguments, environment and input, measured by turns.

#include "LumbroCore/Clock.h"
#include "LumbroCore/Json.h"
#include "LumbroCore/Settings.h"
#include "runners/ClaudeCommand.h"
#include "runners/ClaudeRunner.h"
#include "runners/CodexRunner.h"
#include "runners/PreferredAgent.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>

#include <array>
#include <csignal>
#include <cstdio>

#include <sys/wait.h>
#include <unistd.h>

using namespace lumbro;

namespace {

constexpr int rounds = 50;
constexpr double limit = 50;

/// An agent that reads its input and answers at once.
QString trivialAgent(const QTemporaryDir& folder) {
    const QString path = folder.filePath(u"claude"_s);
    QFile file(path);
    if (file.open(QIODevice::WriteOnly)) {
        file.write("#!/bin/sh\ncat > /dev/null\nprintf '{\"type\":\"result\",\"result\":\"ok\"}\\n'\n");
    }
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    return path;
}

[[noreturn]] void become(const std::vector<char*>& words, const std::vector<char*>& variables,
                         const std::array<int, 2>& input, const std::array<int, 2>& output) {
    ::dup2(input[0], STDIN_FILENO);
    ::dup2(output[1], STDOUT_FILENO);
    for (const int descriptor : {input[0], input[1], output[0], output[1]}) {
        ::close(descriptor);
    }
    ::execve(words.front(), words.data(), variables.data());
    ::_exit(127);
}

std::vector<char*> pointers(std::vector<QByteArray>& texts) {
    std::vector<char*> list;
    for (QByteArray& text : texts) {
        list.push_back(text.data());
    }
    list.push_back(nullptr);
    return list;
}

/// Runs the agent with nothing of ours around it. Milliseconds, or nothing when it fails.
std::optional<double> bareTime(const QString& program, const AgentRequest& request) {
    QElapsedTimer timer;
    timer.start();
    std::vector<QByteArray> words{program.toUtf8()};
    for (const QString& word : claude::arguments(request)) {
        words.push_back(word.toUtf8());
    }
    std::vector<QByteArray> variables;
    for (const QString& variable : claude::environment(program).toStringList()) {
        variables.push_back(variable.toUtf8());
    }
    const auto argv = pointers(words);
    const auto envp = pointers(variables);
    const QByteArray text = request.context.toUtf8();
    std::array<int, 2> input{};
    std::array<int, 2> output{};
    if (::pipe(input.data()) != 0 || ::pipe(output.data()) != 0) {
        return std::nullopt;
    }
    const pid_t pid = ::fork();
    if (pid == 0) {
        become(argv, envp, input, output);
    }
    ::close(input[0]);
    ::close(output[1]);
    for (qsizetype done = 0; done < text.size();) {
        const auto written =
            ::write(input[1], text.constData() + done, static_cast<size_t>(text.size() - done));
        if (written <= 0) {
            break;
        }
        done += written;
    }
    ::close(input[1]);
    std::array<char, 4096> answer{};
    while (::read(output[0], answer.data(), answer.size()) > 0) {
    }
    ::close(output[0]);
    int status = 0;
    const bool isDone = ::waitpid(pid, &status, 0) == pid && status == 0;
    return isDone ? std::optional(static_cast<double>(timer.nsecsElapsed()) / 1e6) : std::nullopt;
}

std::optional<double> runTime(AgentProvider& agent, const AgentRequest& request) {
    QElapsedTimer timer;
    timer.start();
    const auto reply = QCoro::waitFor(agent.run(request, std::make_shared<CancellationHandle>()));
    const double time = static_cast<double>(timer.nsecsElapsed()) / 1e6;
    return reply == u"ok"_s ? std::optional(time) : std::nullopt;
}

double percentile(std::vector<double> values, double part) {
    std::ranges::sort(values);
    return values[static_cast<size_t>(part * static_cast<double>(values.size() - 1))];
}

void printRow(const QString& name, double value) {
    const QJsonObject row{
        {u"name"_s, name},         {u"value"_s, value},
        {u"unit"_s, u"ms"_s},      {u"limit"_s, limit},
        {u"better"_s, u"lower"_s}, {u"note"_s, u"less the bare process, %1 runs by turns"_s.arg(rounds)}};
    std::printf("%s\n", json::encodeCompact(row).constData());
}

}  // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    std::signal(SIGPIPE, SIG_IGN);
    const QTemporaryDir folder;
    Settings settings(folder.filePath(u"settings.ini"_s));
    SystemClock clock;
    const QString program = trivialAgent(folder);
    settings.set(u"claudeExecutablePath"_s, program);
    ClaudeRunner claude(settings, clock);
    CodexRunner codex(settings, clock);
    const CommandProviders providers;
    PreferredAgent agent(settings, clock, providers, claude, codex);
    // About what an hour of talk comes to.
    const AgentRequest request{.systemPrompt = u"Write notes."_s.repeated(100),
                               .instruction = u"Summarize the call in stdin."_s,
                               .context = u"Me: so what do we do about the plan?\n"_s.repeated(2000),
                               .model = u"sonnet"_s};
    std::vector<double> added;
    for (int i = 0; i < rounds + 1; ++i) {
        const auto bare = bareTime(program, request);
        const auto whole = runTime(agent, request);
        if (!bare || !whole) {
            std::fprintf(stderr, "A run failed.\n");
            return 1;
        }
        // The first round only warms up.
        if (i > 0) {
            added.push_back(*whole - *bare);
        }
    }
    const double median = percentile(added, 0.5);
    const double high = percentile(added, 0.95);
    printRow(u"what a run adds to its agent's time, p50"_s, median);
    printRow(u"what a run adds to its agent's time, p95"_s, high);
    std::fprintf(stderr, "run overhead: p50 %.1f ms p95 %.1f ms\n", median, high);
    return 0;
}
