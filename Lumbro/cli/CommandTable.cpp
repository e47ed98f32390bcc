#include "cli/CommandTable.h"

#include "LumbroCore/Literals.h"
#include "cli/EngineCommandTable.h"

#include <algorithm>
#include <array>

namespace lumbro::cli {

namespace {

constexpr std::array recordOptions{
    OptionInfo{"kind", "KIND", "meeting (microphone and system audio), note or thought; default meeting"},
    OptionInfo{"title", "TITLE", "the title; without it the agent finds one"},
    OptionInfo{"mic", "DEVICE", "a microphone's id or name, or file:PATH"},
    OptionInfo{"system", "DEVICE", "an output's id or name, file:PATH, or none"},
    OptionInfo{"fast", "", "feed files as fast as their words can be recognised"},
};
constexpr std::array importOptions{
    OptionInfo{"them", "FILE", "the other side of the call"},
    OptionInfo{"title", "TITLE", "the title; without it the agent finds one"},
    OptionInfo{"at", "DATE", "when it was recorded, such as 2026-03-02T09:14; default the file's own date"},
    OptionInfo{"split", "", "the left channel is you, the right one the others"},
};
constexpr std::array limitOptions{
    OptionInfo{"limit", "N", "only the newest N", 'n', true},
};
constexpr std::array searchOptions{
    OptionInfo{"limit", "N", "the N best captures; default 10, with --json all", 'n', true},
};
constexpr std::array showOptions{
    OptionInfo{"transcript", "", "only the transcript"},
    OptionInfo{"notes", "", "only your notes"},
    OptionInfo{"handoff", "ENGINE", "only this engine's result"},
};
constexpr std::array chatsImportOptions{
    OptionInfo{"since", "DATE", "from this day on; default since the last import, or today"},
    OptionInfo{"memorize", "", "then take what is new in the logs into the memory"},
};
constexpr std::array engineRunOptions{
    OptionInfo{"focus", "TEXT", "the idea to build everything around"},
};
constexpr std::array askOptions{
    OptionInfo{"thread", "ID", "go on with this conversation"},
    OptionInfo{"scope", "SCOPE", "what a new conversation is about; default library"},
    OptionInfo{"engine", "ENGINE", "run this engine on it"},
};
constexpr std::array logOptions{
    OptionInfo{"follow", "", "go on with new lines until Ctrl-C", 'f'},
    OptionInfo{"lines", "N", "only the last N lines; default 50", 'n', true},
};

constexpr std::array promiseOptions{
    OptionInfo{"mine", "", "only what you owe"},
    OptionInfo{"theirs", "", "only what others owe you"},
    OptionInfo{"due", "", "only what is late, due within three days, or waiting, and isn't snoozed"},
    OptionInfo{"all", "", "also what is done"},
};
constexpr OptionInfo fromOption{"from", "SOURCE", "capture:ID, ask:ID, or - for standard input"};
constexpr OptionInfo yesOption{"yes", "", "don't ask on the terminal", 'y'};
constexpr OptionInfo dryRunOption{"dry-run", "", "only show what was understood"};
constexpr std::array sendOptions{
    fromOption,
    OptionInfo{"instruction", "TEXT", "what to do with it; default by the app"},
    yesOption,
};
constexpr std::array retryOptions{yesOption};
constexpr std::array tasksAddOptions{
    fromOption,
    OptionInfo{"all", "", "also tasks of others"},
    yesOption,
    dryRunOption,
};
constexpr std::array eventAddOptions{fromOption, yesOption, dryRunOption};
constexpr std::array mailDraftOptions{
    fromOption,
    OptionInfo{"to", "ADDRESSES", "to these, with commas between them, and nobody else"},
    OptionInfo{"invite", "", "ask the guests of the event in it whether its time suits them"},
    OptionInfo{"yes", "", "nothing is asked anyhow; for scripts", 'y'},
    dryRunOption,
};
constexpr std::array freeTimesOptions{
    OptionInfo{"days", "N", "the next N weekdays; default 5", 0, true},
    OptionInfo{"minutes", "N", "at least so long; default 30", 0, true},
};
constexpr std::array prepOptions{
    OptionInfo{"again", "", "have a new brief written in place of the one that is there"},
    OptionInfo{"yes", "", "join and record the meeting without asking, when it is on"},
};
constexpr std::span<const OptionInfo> noOptions;
constexpr std::array openPageOptions{
    OptionInfo{"open", "", "open the page in Obsidian, else with the desktop's program for it"}};
constexpr std::array nudgeOptions{OptionInfo{"open", "", "open the draft in your mail program, too"}};

constexpr std::string_view idDetails =
    "ID may be shortened as long as one capture alone begins with it; \"last\" is the newest one, briefs "
    "left out.";

constexpr std::string_view draftDetails =
    "SOURCE is capture:ID (its results and notes), ask:ID (the answers of a conversation) or - (standard "
    "input); the first text that holds one counts. Asks on the terminal before anything is added.";

constexpr std::string_view eventDetails =
    "SOURCE is capture:ID (its results and notes), ask:ID (the answers of a conversation) or - (standard "
    "input); the first text that holds one counts. It goes to the calendar of the setting calendarDefault, "
    "else to khal's or Evolution's. Asks on the terminal before anything is added.";

constexpr std::string_view runDetails =
    "ID may be shortened as long as one run alone begins with it; \"last\" is the newest one.";

constexpr std::array mainCommands{
    CommandInfo{"record", "record until Ctrl-C, then write the notes",
                "[--kind KIND] [--title TITLE] [--mic DEVICE] [--system DEVICE] [--fast]", 0, 0,
                recordOptions, "lumbro record --title \"Weekly sync\"",
                "Shows the time, the levels and the words while it records. Ctrl-C, or the end of the files, "
                "stops it; the capture's id is printed when everything is written. Where the last "
                "words are awaited, a second Ctrl-C ends that wait. After it, or where the words are there "
                "already, one Ctrl-C says that it is finishing and the next ends at once; the recording "
                "stays."},
    CommandInfo{"import", "make a capture of an existing recording",
                "FILE [--them FILE] [--title TITLE] [--at DATE] [--split]", 1, 1, importOptions,
                "lumbro import call-me.wav --them call-them.wav",
                "Takes WAV, M4A, MP3, Ogg, FLAC, Matroska and MP4. FILE is your side of the call, or all of "
                "it."},
    CommandInfo{"captures", "list the captures, newest first", "[--limit N]", 0, 0, limitOptions,
                "lumbro captures --limit 10", ""},
    CommandInfo{"show", "show a capture", "ID [--transcript | --notes | --handoff ENGINE]", 1, 1, showOptions,
                "lumbro show last --handoff notes", idDetails},
    CommandInfo{"rename",
                "give a capture a title",
                "ID TITLE",
                2,
                2,
                {},
                "lumbro rename last \"Weekly sync\"",
                idDetails},
    CommandInfo{"delete",
                "move a capture to the Trash",
                "ID",
                1,
                1,
                {},
                "lumbro delete 2026-03-02-0914-meeting",
                idDetails},
    CommandInfo{"engines", "list the engines", "", 0, 0, {}, "lumbro engines", ""},
    CommandInfo{"engines show",
                "show an engine with its prompt",
                "ENGINE",
                1,
                1,
                {},
                "lumbro engines show notes",
                ""},
    CommandInfo{"engines check",
                "tell whether a file is an engine",
                "FILE",
                1,
                1,
                {},
                "lumbro engines check ~/Quillet/engines/notes.md",
                ""},
    CommandInfo{"engine-run", "run an engine on a capture", "ENGINE ID [--focus TEXT]", 2, 2,
                engineRunOptions, "lumbro engine-run followup last", idDetails},
    CommandInfo{
        "ask", "ask a question about the library",
        "[QUESTION] [--thread ID] [--scope SCOPE] [--engine ENGINE]", 0, 1, askOptions,
        "lumbro ask \"What did I promise Dana?\" --scope person:dana-kim",
        "QUESTION may be left out with an engine; \"-\" reads it from standard input. SCOPE is library, "
        "capture:ID, person:SLUG, company:DOMAIN or project:SLUG. Ctrl-C gives the question up."},
    CommandInfo{"asks", "list the conversations, newest first", "[--limit N]", 0, 0, limitOptions,
                "lumbro asks --limit 10", ""},
    CommandInfo{
        "asks show",
        "show a conversation",
        "ID",
        1,
        1,
        {},
        "lumbro asks show last",
        "ID may be shortened as long as one conversation alone begins with it; \"last\" is the newest "
        "one."},
    CommandInfo{"asks delete",
                "move a conversation to the Trash",
                "ID",
                1,
                1,
                {},
                "lumbro asks delete 2026-03-02-0914-what-did-dana-say",
                "ID as for `lumbro asks show`."},
    CommandInfo{
        "free-times", "list the free times of the next weekdays", "[--days N] [--minutes N]", 0, 0,
        freeTimesOptions, "lumbro free-times --days 3",
        "From 9:00 to 17:00, none within the next hour, around the events of your calendars (settings "
        "calendarSource and calendarFolder)."},
    CommandInfo{"tasks add", "add the tasks in a text to your list \"Lumbro\"",
                "--from SOURCE [--all] [--yes] [--dry-run]", 0, 0, tasksAddOptions,
                "lumbro tasks add --from ask:last", draftDetails},
    CommandInfo{"event add", "add the event in a text to your calendar", "--from SOURCE [--yes] [--dry-run]",
                0, 0, eventAddOptions, "lumbro event add --from ask:last", eventDetails},
    CommandInfo{"mail draft", "open the mail in a text in your mail program",
                "--from SOURCE [--to ADDRESSES] [--invite] [--dry-run]", 0, 0, mailDraftOptions,
                "lumbro mail draft --from capture:last",
                "Nothing is sent. SOURCE as for `lumbro tasks add`."},
    CommandInfo{"connectors", "list the apps that your Claude Code is connected to", "", 0, 0, noOptions,
                "lumbro connectors", "Asks Claude Code, which takes a moment."},
    CommandInfo{"connectors refresh", "the same", "", 0, 0, noOptions, "lumbro connectors refresh", ""},
    CommandInfo{
        "send", "have your agent do something in a connected app",
        "CONNECTOR --from SOURCE [--instruction TEXT] [--yes]", 1, 1, sendOptions,
        "lumbro send todoist --from capture:last\n  lumbro show last --handoff followup | lumbro send slack "
        "--from -",
        "CONNECTOR is an app or an id of `lumbro connectors`. Asks first, then waits until it is done. The "
        "agent has this one app's tools; those that delete or archive are blocked unless your instruction "
        "says so. Ctrl-C stops it. Of a capture its notes are sent, of a conversation the last answer."},
    CommandInfo{"runs", "list what was sent, newest first", "[--limit N]", 0, 0, limitOptions,
                "lumbro runs --limit 10", ""},
    CommandInfo{"runs show", "show what was sent and what came of it", "ID", 1, 1, noOptions,
                "lumbro runs show last", runDetails},
    CommandInfo{"runs stop", "stop a run, whichever process does it", "ID", 1, 1, noOptions,
                "lumbro runs stop last", runDetails},
    CommandInfo{"runs retry", "send the same work again", "ID [--yes]", 1, 1, retryOptions,
                "lumbro runs retry last", runDetails},
    CommandInfo{"runs open", "open what a run made", "ID", 1, 1, noOptions, "lumbro runs open last",
                runDetails},
    CommandInfo{"voices", "list the writing voices", "", 0, 0, {}, "lumbro voices", ""},
    CommandInfo{
        "search", "find captures, people, promises and more by their words", "WORD... [--limit N]", 1, 64,
        searchOptions, "lumbro search pricing dana",
        "Finds what holds every WORD, in any case and anywhere in a word. The best come first: words in "
        "the title count most, then your own notes."},
    CommandInfo{
        "mcp", "serve the library to other agents over the Model Context Protocol", "", 0, 0, noOptions,
        "lumbro mcp\n\nfor Claude Code:\n  claude mcp add lumbro -- lumbro mcp\n  claude mcp list",
        "Other agents can then search and read captures, people and promises; they can change nothing. A "
        "client starts the command and talks to it on standard input and output. The lines at the end set "
        "it up for Claude Code and show that it is there."},
    CommandInfo{"people", "list the people you have met", "", 0, 0, noOptions, "lumbro people", ""},
    CommandInfo{"person", "show what is known of a person", "SLUG [--open]", 1, 1, openPageOptions,
                "lumbro person sarah-chen",
                "SLUG is the first column of `lumbro people`, its beginning, or the person's name."},
    CommandInfo{"projects", "list the projects", "", 0, 0, noOptions, "lumbro projects", ""},
    CommandInfo{"project", "show what is known of a project", "SLUG [--open]", 1, 1, openPageOptions,
                "lumbro project apollo",
                "SLUG is the first column of `lumbro projects`, its beginning, or the project's name."},
    CommandInfo{"project new", "begin a page for a project", "NAME", 1, 1, noOptions,
                "lumbro project new \"Apollo launch\"", ""},
    CommandInfo{"project rename", "give a project another name", "SLUG NAME", 2, 2, noOptions,
                "lumbro project rename apollo \"Apollo 2\"",
                "Its page and all links to it stay where they are."},
    CommandInfo{"companies", "list the companies of the people you meet", "", 0, 0, noOptions,
                "lumbro companies", "Grouped by e-mail domain; personal addresses stay out."},
    CommandInfo{"promises", "list what you owe and what is owed to you",
                "[--mine | --theirs] [--due] [--all]", 0, 0, promiseOptions, "lumbro promises --mine --due",
                ""},
    CommandInfo{"promises done", "tick a promise", "ID", 1, 1, noOptions, "lumbro promises done p-3f9a1c",
                ""},
    CommandInfo{"promises reopen", "take a tick away", "ID", 1, 1, noOptions,
                "lumbro promises reopen p-3f9a1c", ""},
    CommandInfo{"promises snooze", "hide a promise from reminders for some days", "ID DAYS", 2, 2, noOptions,
                "lumbro promises snooze p-3f9a1c 3", "The list still shows it."},
    CommandInfo{"promises nudge", "draft a friendly mail about what somebody owes you", "ID [--open]", 1, 1,
                nudgeOptions, "lumbro promises nudge p-3f9a1c", "Sends nothing."},
    CommandInfo{
        "remind", "show what you promised and is due", "", 0, 0, noOptions, "lumbro remind",
        "What is late, due today or within three days, or has waited. The application shows once a day "
        "what is late or due that day."},
    CommandInfo{"ideas", "list the content ideas, newest first", "", 0, 0, noOptions, "lumbro ideas", ""},
    CommandInfo{
        "ideas today", "find content ideas in what was captured today", "", 0, 0, noOptions,
        "lumbro ideas today",
        "One run of your agent; what is new joins the list of `lumbro ideas`. The application does so "
        "once every evening."},
    CommandInfo{"memory", "print all that is known, as the agent sees it", "", 0, 0, noOptions,
                "lumbro memory", ""},
    CommandInfo{"memory index", "print all that is known, as the agent sees it", "", 0, 0, noOptions,
                "lumbro memory index", ""},
    CommandInfo{"memory update", "take a capture into the memory, again if need be", "ID", 1, 1, noOptions,
                "lumbro memory update last", idDetails},
    CommandInfo{"memory catch-up", "take all captures in that were never read", "", 0, 0, noOptions,
                "lumbro memory catch-up",
                "One run of the agent for each. Ctrl-C stops; what is done stays done."},
    CommandInfo{"agenda", "list the meetings of today and tomorrow", "", 0, 0, noOptions, "lumbro agenda",
                "From the calendars that the settings calendarSource and calendarFolder name."},
    CommandInfo{"prep", "have a brief for a meeting written, and join it", "[EVENT] [--again] [--yes]", 0, 1,
                prepOptions, "lumbro prep \"weekly sync\"",
                "EVENT is the beginning of a title in `lumbro agenda`, or a key of its JSON; without it, the "
                "meeting that is on or comes next. A brief that is there already is printed. From 10 minutes "
                "before the start on, it then asks whether to open the link and record."},
    CommandInfo{
        "chats import", "file your chats with Claude Code", "[--since DATE] [--memorize]", 0, 0,
        chatsImportOptions, "lumbro chats import --since 2026-03-01",
        "Keeps what you asked and the last answer, hides keys and tokens, and makes one capture for each "
        "project and day. What is filed already is brought up to date. The application does the same once "
        "an hour when the setting claudeSessionsEnabled is on."},
    CommandInfo{"chats read", "show what would be kept of a transcript", "FILE", 1, 1, noOptions,
                "lumbro chats read ~/.claude/projects/-home-me-work/5f2c.jsonl", ""},
    CommandInfo{"devices",
                "list microphones and outputs",
                "",
                0,
                0,
                {},
                "lumbro devices",
                "Also tells which applications use the microphone now."},
    CommandInfo{"speech", "list the speech models", "", 0, 0, {}, "lumbro speech", ""},
    CommandInfo{"speech list", "list the speech models", "", 0, 0, {}, "lumbro speech list", ""},
    CommandInfo{"speech install",
                "download a speech model",
                "MODEL",
                1,
                1,
                {},
                "lumbro speech install base.en",
                "A broken download goes on where it ended when the command is given again."},
    CommandInfo{"speech import",
                "take a model file from elsewhere",
                "FILE",
                1,
                1,
                {},
                "lumbro speech import ~/Downloads/ggml-base.en.bin",
                ""},
    CommandInfo{
        "speech remove", "move a model to the Trash", "MODEL", 1, 1, {}, "lumbro speech remove base.en", ""},
    CommandInfo{"speech use",
                "choose a model",
                "MODEL",
                1,
                1,
                {},
                "lumbro speech use base.en",
                "\"best\" takes the best one installed."},
    CommandInfo{"settings", "list the settings", "", 0, 0, {}, "lumbro settings", ""},
    CommandInfo{"settings list", "list the settings", "", 0, 0, {}, "lumbro settings list", ""},
    CommandInfo{"settings get", "print a setting", "KEY", 1, 1, {}, "lumbro settings get aiProvider", ""},
    CommandInfo{"settings set",
                "change a setting",
                "KEY VALUE",
                2,
                2,
                {},
                "lumbro settings set aiProvider codex",
                ""},
    CommandInfo{"doctor", "check what recording and notes need", "", 0, 0, {}, "lumbro doctor", ""},
    CommandInfo{"demo",
                "try it all on a call that comes along",
                "",
                0,
                0,
                {},
                "lumbro demo",
                "Works in a library of its own in a temporary folder, whose place is printed at the end."},
    CommandInfo{"log", "print the log", "[--lines N] [--follow]", 0, 0, logOptions, "lumbro log -f", ""},
};

template <size_t... Counts>
consteval auto joined(const std::array<CommandInfo, Counts>&... groups) {
    std::array<CommandInfo, (Counts + ...)> all;
    auto next = all.begin();
    ((next = std::ranges::copy(groups, next).out), ...);
    return all;
}

constexpr std::array commands = joined(mainCommands, engineCommandTable);

int wordsIn(std::string_view name) {
    return 1 + int(std::ranges::count(name, ' '));
}

}  // namespace

std::span<const CommandInfo> commandTable() {
    return commands;
}

CommandMatch findCommand(const QStringList& words) {
    CommandMatch best;
    for (const CommandInfo& command : commands) {
        const int count = wordsIn(command.name);
        if (count > best.words && words.size() >= count &&
            words.first(count).join(u' ') ==
                QLatin1String(command.name.data(), qsizetype(command.name.size()))) {
            best = {&command, count};
        }
    }
    return best;
}

}  // namespace lumbro::cli
