#include "platform/linux/desktop/DesktopMail.h"

#include "LumbroCore/ChildProcess.h"

#include <chrono>

namespace lumbro {

namespace {

/// Some mail programs only give the control back when they are closed. What has not failed by then is open.
constexpr auto patience = std::chrono::seconds(5);

/// The program gets a session and outputs of its own: whatever it starts must live on when we end, and must
/// not write into our terminal.
const QString apart = u"setsid \"$@\" </dev/null >/dev/null 2>&1 & wait $!"_s;

Task<Result<>> start(Clock* clock, QStringList command) {
    ChildProcess shell(
        {.program = u"/bin/sh"_s, .arguments = QStringList{u"-c"_s, apart, u"sh"_s} + command});
    bool isOpen = false;
    Timer bound;
    bound.start(*clock, patience, Clock::Repeat::once, [&] {
        isOpen = true;
        shell.terminate();
    });
    const Result<ChildExit> exit = co_await shell.run();
    if (!exit) {
        co_return std::unexpected(exit.error());
    }
    if (!isOpen && (exit->bySignal || exit->status != 0)) {
        co_return fail(
            u"%1 found no mail program; choose one in the desktop's settings."_s.arg(command.value(0)));
    }
    co_return Result<>();
}

Result<> noDesktop() {
    return fail(u"There is no desktop here to open a mail program on."_s);
}

}  // namespace

bool DesktopMail::hasDesktop() {
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
}

Task<Result<>> DesktopMail::compose(QByteArray url) {
    // Without one it would start a browser for text in the terminal.
    co_return hasDesktop() ? co_await start(&m_clock, {u"xdg-email"_s, QString::fromLatin1(url)})
                           : noDesktop();
}

Task<Result<>> DesktopMail::openUrl(QByteArray url) {
    if (!hasDesktop()) {
        co_return noDesktop();
    }
    Clock* clock = &m_clock;
    const QString address = QString::fromLatin1(url);
    Result<> opened = co_await start(clock, {u"xdg-open"_s, address});
    if (!opened) {
        opened = co_await start(clock, {u"gio"_s, u"open"_s, address});
    }
    if (!opened) {
        opened = fail(u"No mail program could be opened; choose one in the desktop's settings."_s);
    }
    co_return opened;
}

}  // namespace lumbro
