#include "cli/Output.h"

#include "LumbroCore/Json.h"
#include "cli/Table.h"

#include <algorithm>
#include <cerrno>
#include <limits>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace lumbro::cli {

namespace {

constexpr int unlimited = std::numeric_limits<int>::max();

bool waitForRoom(int descriptor) {
    pollfd wanted{.fd = descriptor, .events = POLLOUT, .revents = 0};
    return poll(&wanted, 1, -1) >= 0 || errno == EINTR;
}

bool writeAll(int descriptor, const QByteArray& bytes) {
    qsizetype done = 0;
    while (done < bytes.size()) {
        const ssize_t count = ::write(descriptor, bytes.constData() + done, size_t(bytes.size() - done));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        // Whoever shares the pipe with us may have set it to not wait.
        if (count < 0 && errno == EAGAIN && waitForRoom(descriptor)) {
            continue;
        }
        if (count < 0) {
            return false;
        }
        done += count;
    }
    return true;
}

int terminalWidth(int descriptor) {
    winsize size{};
    if (ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return size.ws_col;
    }
    return 80;
}

bool wantsColours(bool isTerminal) {
    return isTerminal && qEnvironmentVariableIsEmpty("NO_COLOR") && qgetenv("TERM") != "dumb";
}

/// Has the text after it shown backwards, so that it reads as something else.
bool turnsOthers(QChar c) {
    return (c >= QChar(0x202A) && c <= QChar(0x202E)) || (c >= QChar(0x2066) && c <= QChar(0x2069));
}

QString cleaned(const QString& text, bool keepsLines) {
    if (isPlain(text)) {
        return text;
    }
    QString result;
    result.reserve(text.size());
    for (const QChar c : text) {
        const bool staysLineEnd = c == u'\n' && keepsLines;
        if (!staysLineEnd && (c == u'\t' || c == u'\n')) {
            result += u' ';
        } else if (staysLineEnd || (c.category() != QChar::Other_Control && !turnsOthers(c))) {
            result += c;
        }
    }
    return result;
}

}  // namespace

bool isPlain(QStringView text) {
    return std::ranges::all_of(text, [](QChar c) { return c >= u' ' && c <= u'~'; });
}

Output::Output() {
    m_outTerminal = isatty(STDOUT_FILENO) == 1;
    // What is shown for a moment could not be taken away again there.
    m_errTerminal = isatty(STDERR_FILENO) == 1 && qgetenv("TERM") != "dumb";
    m_outColours = wantsColours(m_outTerminal);
    m_errColours = wantsColours(m_errTerminal);
    m_width = m_outTerminal ? terminalWidth(STDOUT_FILENO) : unlimited;
    m_errWidth = m_errTerminal ? terminalWidth(STDERR_FILENO) : unlimited;
}

void Output::print(const QString& text) {
    write(text.toUtf8());
}

void Output::printJson(const QJsonValue& value) {
    printJson(json::encode(value));
}

void Output::printJson(QByteArray document) {
    document += '\n';
    write(document);
}

void Output::write(const QByteArray& bytes) {
    clearShown();
    if (m_closed || writeAll(STDOUT_FILENO, bytes)) {
        return;
    }
    const int error = errno;
    m_closed = true;
    if (error != EPIPE) {
        m_lost = true;
        fail(u"The result can't be written: %1."_s.arg(error == EBADF ? u"standard output is closed"_s
                                                                      : qt_error_string(error)));
    }
}

void Output::say(const QString& text) {
    clearShown();
    writeAll(STDERR_FILENO, text.toUtf8() + '\n');
}

void Output::show(const QString& text) {
    if (m_errTerminal) {
        // A line that wraps could not be taken back.
        writeAll(STDERR_FILENO, "\r" + fitted(text, m_errWidth - 1).toUtf8() + "\x1b[K");
        m_shown = true;
    }
}

void Output::clearShown() {
    if (m_shown) {
        writeAll(STDERR_FILENO, "\r\x1b[K");
        m_shown = false;
    }
}

int Output::fail(const QString& sentence) {
    say(styledError(u"lumbro:"_s, Look::bad) + u' ' + clean(sentence));
    return 1;
}

int Output::fail(const Failure& failure) {
    const int status = fail(failure.message);
    if (!failure.detail.isEmpty()) {
        say(styledError(u"  "_s + clean(failure.detail), Look::dim));
    }
    if (failure.kind == FailureKind::notInstalled && !failure.message.contains(u"doctor")) {
        say(styledError(u"  `lumbro doctor` says how to mend that."_s, Look::dim));
    }
    return status;
}

QString Output::clean(const QString& text) {
    return cleaned(text, false);
}

QString Output::cleanLines(const QString& text) {
    return cleaned(text, true);
}

QString Output::inLook(const QString& text, Look look, bool colours) {
    static constexpr const char* codes[] = {"", "1", "2", "32", "31", "36"};
    if (!colours || look == Look::plain || text.isEmpty()) {
        return text;
    }
    return u"\x1b["_s + QLatin1StringView(codes[int(look)]) + u'm' + text + u"\x1b[0m"_s;
}

}  // namespace lumbro::cli
