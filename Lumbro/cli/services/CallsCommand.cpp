#include "cli/services/CallsCommand.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Json.h"
#include "LumbroCore/NextSignal.h"
#include "app/QuitSignals.h"
#include "app/Services.h"
#include "platform/AudioServer.h"
#include "recording/CallDetector.h"
#include "recording/CallWatch.h"

#include <QJsonObject>

namespace lumbro::cli {

namespace {

/// Looks at the microphone from time to time and prints what changes.
class CallPrinter final : public QObject {
  public:
    CallPrinter(Output& output, Clock& clock, AudioServer& server, bool asJson)
        : m_output(output), m_clock(clock), m_server(server), m_asJson(asJson) {
        m_timer.start(clock, CallDetector::interval, Clock::Repeat::always, [this] { look(); });
        look();
    }

    /// Called once nobody reads any more.
    std::function<void()> onClosed = [] {};

  private:
    void look() {
        const auto users = CallDetector::users(m_server);
        if (users.has_value() != m_hasServer) {
            m_hasServer = users.has_value();
            m_output.say(m_hasServer ? u"The audio server is back."_s
                                     : u"The audio server has gone; waiting for it."_s);
        }
        const CallWatch::Change change = m_watch.look(users);
        if (change.started) {
            tell(u"started"_s, *change.started);
        }
        if (change.ended) {
            tell(u"ended"_s, *change.ended);
        }
        if (m_output.isClosed()) {
            onClosed();
        }
    }
    void tell(const QString& event, const MicrophoneUser& app) {
        if (m_asJson) {
            const QJsonObject line{{u"event"_s, event}, {u"name"_s, app.name}, {u"bundleID"_s, app.bundleID}};
            m_output.print(QString::fromUtf8(json::encodeCompact(line)) + u'\n');
            return;
        }
        const QString what =
            event == u"started" ? u"A call in %1 has started."_s : u"The call in %1 has ended."_s;
        m_output.printLine(m_output.styled(dates::shortTime(m_clock.now()), Look::dim) + u"  "_s +
                           what.arg(Output::clean(app.name)));
    }

    Output& m_output;
    Clock& m_clock;
    AudioServer& m_server;
    bool m_asJson;
    bool m_hasServer = true;
    CallWatch m_watch;
    Timer m_timer;
};

}  // namespace

Task<int> callsWatch(CommandContext context) {
    Output& output = context.output;
    Services services;
    QuitSignals interrupts;
    AudioServer& server = services.audioServer();
    if (const auto attached = co_await server.attach(); !attached) {
        co_return output.fail(attached.error());
    }
    CallPrinter printer(output, services.clock(), server, context.arguments.wantsJson());
    printer.onClosed = [&interrupts] { Q_EMIT interrupts.quitRequested(); };
    output.say(output.styledError(u"Watching for calls; Ctrl-C ends it."_s, Look::dim));
    co_await nextSignal(&interrupts, &QuitSignals::quitRequested);
    co_return 0;
}

}  // namespace lumbro::cli
