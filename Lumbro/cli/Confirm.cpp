#include "cli/Confirm.h"

#include "LumbroCore/InBackground.h"

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace lumbro::cli {

namespace {

/// The terminal itself, which is there also when the text comes through standard input; or -1.
int openTerminal() {
    if (isatty(STDERR_FILENO) == 0 && isatty(STDIN_FILENO) == 0) {
        return -1;
    }
    return open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY);
}

QByteArray readLine(int descriptor) {
    QByteArray line;
    std::array<char, 256> piece{};
    while (!line.contains('\n')) {
        const ssize_t got = read(descriptor, piece.data(), piece.size());
        if (got == 0 || (got < 0 && errno != EINTR)) {
            break;
        }
        line.append(piece.data(), std::max<ssize_t>(got, 0));
    }
    return line;
}

}  // namespace

Task<Answer> askOnTerminal(QString question) {
    const int terminal = openTerminal();
    if (terminal < 0) {
        co_return Answer::noTerminal;
    }
    const QByteArray shown = Output::clean(question).toUtf8() + " [y/N] ";
    const bool isAsked = write(terminal, shown.constData(), size_t(shown.size())) == shown.size();
    const QByteArray line =
        isAsked ? co_await inBackground([terminal] { return readLine(terminal); }) : QByteArray();
    close(terminal);
    const bool isYes = line.trimmed().toLower().startsWith('y');
    co_return !isAsked ? Answer::noTerminal : isYes ? Answer::yes : Answer::no;
}

Task<std::optional<int>> refusedOnTerminal(Output* output, bool saidYes, QString question, QString refusal) {
    const Answer answer = saidYes ? Answer::yes : co_await askOnTerminal(question);
    if (answer == Answer::yes) {
        co_return std::nullopt;
    }
    co_return output->fail(answer == Answer::no
                               ? refusal + u'.'
                               : refusal + u": there is no terminal to ask on; give --yes to answer."_s);
}

}  // namespace lumbro::cli
