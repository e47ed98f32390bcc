#include "cli/services/LiveAnswer.h"

#include "LumbroCore/Literals.h"
#include "cli/Table.h"

#include <algorithm>
#include <utility>

#include <sys/ioctl.h>
#include <unistd.h>

namespace lumbro::cli {

namespace {

/// Rows of the terminal on standard output; 0 where it can't go back to an earlier row.
int terminalRows() {
    winsize size{};
    const bool isDumb = qgetenv("TERM").isEmpty() || qgetenv("TERM") == "dumb";
    return !isDumb && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 ? size.ws_row : 0;
}

int rowsOf(const QString& text, int width) {
    int rows = 0;
    for (const QString& line : text.split(u'\n')) {
        rows += 1 + std::max(0, displayWidth(line) - 1) / std::max(1, width);
    }
    return rows;
}

}  // namespace

LiveAnswer::LiveAnswer(Output& output, Clock& clock, QString waiting)
    : m_output(output), m_steps(output, clock), m_waiting(std::move(waiting)) {}

void LiveAnswer::begin() {
    if (m_output.showsProgress()) {
        m_steps.begin(m_waiting);
    }
}

void LiveAnswer::add(const QString& piece, bool isNew) {
    if (isNew && !m_shown.isEmpty()) {
        takeBack();
        begin();
    }
    const QString words = Output::cleanLines(piece);
    if (!words.isEmpty()) {
        m_steps.end();
        m_output.print(words);
        m_shown += words;
    }
}

void LiveAnswer::finish(const QString& answer) {
    m_steps.end();
    const QString text = Output::cleanLines(answer);
    if (!text.startsWith(m_shown) && !m_shown.isEmpty()) {
        takeBack();
    }
    m_output.printLine(text.sliced(m_shown.size()));
}

void LiveAnswer::giveUp() {
    m_steps.end();
    if (!m_shown.isEmpty()) {
        m_output.printLine();
    }
}

void LiveAnswer::takeBack() {
    const int rows = rowsOf(std::exchange(m_shown, {}), m_output.width());
    if (rows >= terminalRows()) {
        m_output.print(u"\n\n"_s);
        return;
    }
    m_output.print(u"\r"_s + (rows > 1 ? u"\033[%1A"_s.arg(rows - 1) : QString()) + u"\033[J"_s);
}

}  // namespace lumbro::cli
