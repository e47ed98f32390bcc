#include "app/Application.h"
#include "app/Services.h"
#include "cli/CaptureLookup.h"
#include "cli/Runner.h"
#include "cli/services/AskCommand.h"
#include "cli/services/CallsCommand.h"
#include "cli/services/ChatImportCommand.h"
#include "cli/services/ConnectorCommands.h"
#include "cli/services/DeviceCommands.h"
#include "cli/services/DoctorCommand.h"
#include "cli/services/EngineNewCommand.h"
#include "cli/services/EngineRunCommand.h"
#include "cli/services/InboxScanCommand.h"
#include "cli/services/MemoryUpdateCommands.h"
#include "cli/services/PassCommands.h"
#include "cli/services/PillTerminal.h"
#include "cli/services/PrepCommand.h"
#include "cli/services/RecordingCommands.h"
#include "cli/services/SendCommand.h"
#include "cli/services/SpeechCommands.h"
#include "cli/services/SpeechSetting.h"
#include "library/ContextLibrary.h"

#include <QCoreApplication>
#include <QTimer>

#include <array>
#include <memory>
#include <string_view>

namespace lumbro::cli {

namespace {

constexpr std::array entries{
    CommandEntry{"record", record},
    CommandEntry{"import", importFile},
    CommandEntry{"demo", demo},
    CommandEntry{"engine-run", engineRun},
    CommandEntry{"engine new", engineNew},
    CommandEntry{"inbox scan", inboxScan},
    CommandEntry{"calls watch", callsWatch},
    CommandEntry{"ask", ask},
    CommandEntry{"connectors", connectors},
    CommandEntry{"connectors refresh", connectors},
    CommandEntry{"send", send},
    CommandEntry{"runs retry", runsRetry},
    CommandEntry{"prep", prepCommand},
    CommandEntry{"remind", remind},
    CommandEntry{"ideas today", ideasToday},
    CommandEntry{"memory update", memoryUpdate},
    CommandEntry{"memory catch-up", memoryCatchUp},
    CommandEntry{"chats import", chatsImport},
    CommandEntry{"devices", devices},
    CommandEntry{"speech", speechList},
    CommandEntry{"speech list", speechList},
    CommandEntry{"speech install", speechInstall},
    CommandEntry{"speech import", speechImport},
    CommandEntry{"speech remove", speechRemove},
    CommandEntry{"speech use", speechUse},
    CommandEntry{"settings set", setSpeechSetting},
    CommandEntry{"doctor", doctor},
};

int runInForeground(int& argc, char** argv) {
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(u"Lumbro"_s);
    Output output;
    if (!checkEnvironment(output)) {
        return wrongUsage;
    }
    Services services;
    if (const auto usable = checkLibrary(services.library().root(), LibraryUse::write); !usable) {
        return output.fail(usable.error());
    }
    std::unique_ptr<PillTerminal> pill;
    // Said by the event loop, so not at all when another application is running.
    QTimer::singleShot(0, &application, [&, root = services.library().root()] {
        output.say(u"Lumbro is running on %1; Ctrl-C ends it."_s.arg(root));
        pill = std::make_unique<PillTerminal>(output, services);
    });
    return runApplication(services);
}

int notHere(char** /*argv*/) {
    Output output;
    return output.fail(u"This part of Lumbro is started by the program lumbro, not by itself."_s);
}

}  // namespace

}  // namespace lumbro::cli

int main(int argc, char** argv) {
    using namespace lumbro;
    cli::prepareProcess();
    const std::string_view first = argc > 1 ? argv[1] : "";
    if (first.empty() || first == "--dock") {
        return cli::runInForeground(argc, argv);
    }
    return cli::runCommand(argc, argv, cli::entries, cli::notHere);
}
