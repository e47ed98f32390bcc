#include "benchmarks/library/Measured.h"

#include "LumbroCore/Json.h"
#include "LumbroCore/Literals.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonObject>

#include <algorithm>
#include <array>
#include <cstdio>

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lumbro::bench {

namespace {

QByteArray readAll(int descriptor) {
    QByteArray all;
    std::array<char, 65536> buffer{};
    for (ssize_t got = 1; got > 0;) {
        got = read(descriptor, buffer.data(), buffer.size());
        all.append(buffer.data(), std::max(got, ssize_t(0)));
    }
    return all;
}

}  // namespace

std::optional<Run> measured(const QString& program, const QStringList& arguments) {
    std::vector<QByteArray> words{QFile::encodeName(program)};
    for (const QString& argument : arguments) {
        words.push_back(QFile::encodeName(argument));
    }
    std::vector<char*> pointers;
    for (QByteArray& word : words) {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    std::array<int, 2> pipes{};
    if (pipe(pipes.data()) != 0) {
        return std::nullopt;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipes[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, pipes[0]);
    posix_spawn_file_actions_addclose(&actions, pipes[1]);
    QElapsedTimer timer;
    timer.start();
    pid_t pid = 0;
    const bool isStarted =
        posix_spawnp(&pid, pointers.front(), &actions, nullptr, pointers.data(), environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    close(pipes[1]);
    Run run;
    run.output = readAll(pipes[0]);
    close(pipes[0]);
    int status = 0;
    rusage usage{};
    if (!isStarted || wait4(pid, &status, 0, &usage) != pid || !WIFEXITED(status) ||
        WEXITSTATUS(status) > 1) {
        return std::nullopt;
    }
    run.milliseconds = double(timer.nsecsElapsed()) / 1e6;
    run.peak = double(usage.ru_maxrss) / 1024;
    return run;
}

std::optional<Run> measuredSelf(const QStringList& arguments) {
    return measured(QCoreApplication::applicationFilePath(), arguments);
}

double percentile(std::vector<double> values, double part) {
    if (values.empty()) {
        return 0;
    }
    std::ranges::sort(values);
    return values[size_t(part * double(values.size() - 1) + 0.5)];
}

double resident() {
    QFile file(u"/proc/self/statm"_s);
    const QByteArray pages =
        file.open(QIODevice::ReadOnly) ? file.readAll().split(' ').value(1) : QByteArray();
    return pages.toDouble() * double(sysconf(_SC_PAGESIZE)) / 1024 / 1024;
}

void printRow(const QString& name, double value, const QString& unit, std::optional<double> limit,
              const QString& note) {
    QJsonObject row{{u"name"_s, name}, {u"value"_s, value}, {u"unit"_s, unit}};
    if (limit) {
        row[u"limit"_s] = *limit;
        row[u"better"_s] = u"lower"_s;
    }
    if (!note.isEmpty()) {
        row[u"note"_s] = note;
    }
    std::printf("%s\n", json::encodeCompact(row).constData());
    std::fflush(stdout);
}

}  // namespace lumbro::bench
