#include "runners/ClaudeCommand.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "runners/AgentText.h"
#include "runners/ExecutableSearch.h"

namespace lumbro::claude {

namespace {

QStringList connectorArguments(const std::optional<AgentConnectors>& connectors) {
    if (connectors && !connectors->config) {
        return {};
    }
    const QString config = connectors ? *connectors->config : u"{\"mcpServers\":{}}"_s;
    return {u"--strict-mcp-config"_s, u"--mcp-config"_s, config};
}

}  // namespace

QStringList toolNames(const QStringList& tools) {
    QStringList names;
    for (const QString& tool : tools) {
        const QString name = trimmedBlanks(tool.section(u'(', 0, 0)).toString();
        if (!name.isEmpty() && !names.contains(name)) {
            names << name;
        }
    }
    return names;
}

QStringList arguments(const AgentRequest& request) {
    QStringList list{u"-p"_s,
                     agents::plainInstruction(request.instruction),
                     u"--system-prompt"_s,
                     request.systemPrompt,
                     u"--model"_s,
                     request.model,
                     u"--tools"_s,
                     toolNames(request.tools).join(u','),
                     u"--setting-sources"_s,
                     QString()};
    if (request.requireTools || request.onText) {
        list << u"--output-format"_s << u"stream-json"_s << u"--verbose"_s;
    } else {
        list << u"--output-format"_s << u"json"_s;
    }
    if (request.onText) {
        list << u"--include-partial-messages"_s;
    }
    list << connectorArguments(request.connectors);
    const QStringList allowed =
        request.tools + (request.connectors ? request.connectors->allow : QStringList());
    if (!allowed.isEmpty()) {
        list << u"--allowedTools"_s << allowed.join(u',');
    }
    if (!request.disallowed.isEmpty()) {
        list << u"--disallowedTools"_s << request.disallowed.join(u',');
    }
    for (QString& text : list) {
        text = agents::argument(text);
    }
    return list;
}

QProcessEnvironment environment(const QString& executable) {
    struct Variable {
        const char* name;
        const char* value;
    };
    static constexpr Variable variables[] = {
        // Connectors must be there before the model starts, or it acts without them.
        {"MCP_CONNECTION_NONBLOCKING", "0"},
        {"MCP_CONNECT_TIMEOUT_MS", "20000"},
        // A transcript that holds "@/some/file" must not send that file along.
        {"CLAUDE_CODE_DISABLE_ATTACHMENTS", "1"},
        // Prompts hold what was said in calls; no second copy of that is left behind.
        {"CLAUDE_CODE_SKIP_PROMPT_HISTORY", "1"},
        // Names the terminal's window by a second question to the model, with the same text once more.
        {"CLAUDE_CODE_DISABLE_TERMINAL_TITLE", "1"},
        // The default of ten keeps silent for longer than our own time-out.
        {"CLAUDE_CODE_MAX_RETRIES", "5"},
    };
    auto environment = agentEnvironment(executable);
    for (const Variable& variable : variables) {
        const QString name = QString::fromLatin1(variable.name);
        if (!environment.contains(name)) {
            environment.insert(name, QString::fromLatin1(variable.value));
        }
    }
    return environment;
}

}  // namespace lumbro::claude
