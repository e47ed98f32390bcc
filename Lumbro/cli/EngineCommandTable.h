#pragma once

#include "cli/CommandTable.h"

#include <array>

/// The entries of the commands over engine files, watched folders and calls.
namespace lumbro::cli {

inline constexpr std::array engineNewOptions{
    OptionInfo{"name", "NAME", "what people call it"},
    OptionInfo{"description", "TEXT", "what it does, in one line"},
    OptionInfo{"prompt", "TEXT", "what the agent is told; - reads it from standard input"},
    OptionInfo{"scope", "SCOPE", "meeting, library, person, company or selection"},
    OptionInfo{"result", "RESULT", "chat, handoff, or \"action: APP\""},
    OptionInfo{"suggest", "PLACES", "where it is offered: notes, ask, home, person, company, live, or none"},
    OptionInfo{"auto", "on|off", "run after every meeting"},
    OptionInfo{"voice", "on|off", "write in the chosen voice"},
    OptionInfo{"model", "MODEL", "the agent's model, such as sonnet"},
    OptionInfo{"shortcut", "WORD", "the word to call it by"},
    OptionInfo{"icon", "SYMBOL", "name of a symbol"},
    OptionInfo{"watch", "FOLDER", "take the files that are dropped there; none for no folder"},
    OptionInfo{"tools", "LIST", "tools that the agent may use, such as \"Read, Edit\"; none for none"},
    OptionInfo{"workdir", "FOLDER", "the folder that the agent works in; none for an empty one"},
    OptionInfo{"timeout", "SECONDS", "how long it may take on a file that was dropped", 0, true},
};
inline constexpr std::array yesOption{
    OptionInfo{"yes", "", "do it without asking"},
};
inline constexpr std::array inboxOptions{
    OptionInfo{"limit", "N", "only the newest N runs; default 20, with --json all", 'n', true},
};

inline constexpr std::array engineCommandTable{
    CommandInfo{"engine new", "make an engine", "[WISH] [--name NAME] [--prompt TEXT] [OPTIONS]", 0, 1,
                engineNewOptions, "lumbro engine new \"List the numbers that were said in the call\"",
                "Your agent writes it from WISH, what it should do in your own words; \"-\" reads that from "
                "standard input. Without WISH it is made of the options and the usual text. Options stand "
                "above what the agent writes, which never lets an engine run by itself, watch a folder or "
                "use tools."},
    CommandInfo{"engine edit", "change an engine", "ENGINE OPTIONS", 1, 1, engineNewOptions,
                "lumbro engine edit followup --model opus --voice on",
                "What you don't name stays as it is, also lines that Lumbro doesn't know. The file may be "
                "edited with any editor as well; `lumbro engines show ENGINE` tells where it is."},
    CommandInfo{"engine delete", "move an engine to the Trash", "ENGINE [--yes]", 1, 1, yesOption,
                "lumbro engine delete new-engine",
                "Asks first. An engine that came with Lumbro does not come back."},
    CommandInfo{"inbox", "list the watched folders and what became of their files", "[--limit N]", 0, 0,
                inboxOptions, "lumbro inbox", "What waits comes first, then the runs, newest first."},
    CommandInfo{"inbox scan",
                "work on the files in watched folders now",
                "",
                0,
                0,
                {},
                "lumbro inbox scan",
                "The application looks every 15 seconds; this does it at once, and on all files one after "
                "another. A file that changed within the last 5 seconds waits. Ctrl-C ends the agent."},
    CommandInfo{"calls watch",
                "tell when calls start and end, until Ctrl-C",
                "",
                0,
                0,
                {},
                "lumbro calls watch",
                "A call is a meeting application, or Chrome, that uses the microphone. With --json each "
                "event is one line."},
};

}  // namespace lumbro::cli
