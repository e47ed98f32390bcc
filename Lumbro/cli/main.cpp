#include "cli/AgendaCommand.h"
#include "cli/AskCommands.h"
#include "cli/CaptureCommands.h"
#include "cli/ChatCommands.h"
#include "cli/EngineCommands.h"
#include "cli/EngineEditCommands.h"
#include "cli/ExportCommands.h"
#include "cli/InboxCommand.h"
#include "cli/LogCommand.h"
#include "cli/McpCommand.h"
#include "cli/MemoryCommands.h"
#include "cli/PromiseCommands.h"
#include "cli/RunCommands.h"
#include "cli/Runner.h"
#include "cli/SearchCommand.h"
#include "cli/SettingsCommands.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>

#include <unistd.h>

// This program holds the commands that need nothing but files, so that they start in a few milliseconds. All
// others need audio, speech and network libraries, which take longer to load than most commands take to run;
// they are in a program beside this one, which takes this one's place.

namespace lumbro::cli {

namespace {

constexpr std::array entries{
    CommandEntry{"captures", captures},
    CommandEntry{"show", show},
    CommandEntry{"rename", rename},
    CommandEntry{"delete", deleteCapture},
    CommandEntry{"engines", engines},
    CommandEntry{"engines show", enginesShow},
    CommandEntry{"engines check", enginesCheck},
    CommandEntry{"engine edit", engineEdit},
    CommandEntry{"engine delete", engineDelete},
    CommandEntry{"inbox", inboxList},
    CommandEntry{"voices", voices},
    CommandEntry{"agenda", agendaCommand},
    CommandEntry{"asks", asks},
    CommandEntry{"asks show", asksShow},
    CommandEntry{"asks delete", asksDelete},
    CommandEntry{"free-times", freeTimesCommand},
    CommandEntry{"tasks add", tasksAdd},
    CommandEntry{"event add", eventAdd},
    CommandEntry{"mail draft", mailDraftCommand},
    CommandEntry{"people", people},
    CommandEntry{"person", person},
    CommandEntry{"projects", projects},
    CommandEntry{"project", project},
    CommandEntry{"project new", projectNew},
    CommandEntry{"project rename", projectRename},
    CommandEntry{"companies", companies},
    CommandEntry{"promises", promises},
    CommandEntry{"promises done", promisesDone},
    CommandEntry{"promises reopen", promisesReopen},
    CommandEntry{"promises snooze", promisesSnooze},
    CommandEntry{"promises nudge", promisesNudge},
    CommandEntry{"ideas", ideas},
    CommandEntry{"memory", memoryIndex},
    CommandEntry{"memory index", memoryIndex},
    CommandEntry{"chats read", chatsRead},
    CommandEntry{"runs", runs},
    CommandEntry{"runs show", runsShow},
    CommandEntry{"runs stop", runsStop},
    CommandEntry{"runs open", runsOpen},
    CommandEntry{"search", search},
    CommandEntry{"mcp", mcp},
    CommandEntry{"settings", settingsList},
    CommandEntry{"settings list", settingsList},
    CommandEntry{"settings get", settingsGet},
    CommandEntry{"settings set", settingsSet},
    CommandEntry{"log", log},
};

/// Only the other program knows the speech models.
bool choosesSpeechModel(std::span<char*> arguments) {
    return arguments.size() > 1 && std::string_view(arguments[1]) == "settings" &&
           std::ranges::any_of(arguments, [](std::string_view word) { return word == "speechModel"; }) &&
           std::ranges::any_of(arguments, [](std::string_view word) { return word == "set"; });
}

int becomeServices(char** argv) {
    std::error_code error;
    const auto folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    for (const std::filesystem::path& place : {folder, folder / "../libexec/lumbro"}) {
        execv((place / "lumbro-services").c_str(), argv);
    }
    Output output;
    return output.fail(u"The program lumbro-services is missing beside %1; install Lumbro again."_s.arg(
        QString::fromStdString(folder.string())));
}

}  // namespace

}  // namespace lumbro::cli

int main(int argc, char** argv) {
    using namespace lumbro;
    cli::prepareProcess();
    cli::Output output;
    const std::string_view first = argc > 1 ? argv[1] : "";
    if (first == "--version") {
        output.printLine(u"lumbro "_s + QStringLiteral(LUMBRO_VERSION));
        return output.finalStatus(0);
    }
    if (first == "--help" || first == "-h" || first == "help") {
        output.print(cli::programHelp());
        return output.finalStatus(0);
    }
    if (first.empty() || first == "--dock" || cli::choosesSpeechModel({argv, size_t(argc)})) {
        return cli::becomeServices(argv);
    }
    return cli::runCommand(argc, argv, cli::entries, cli::becomeServices);
}
