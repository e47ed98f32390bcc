#include "runners/CodexCommand.h"

#include "LumbroCore/Literals.h"
#include "runners/AgentText.h"
#include "runners/ExecutableSearch.h"

namespace lumbro::codex {

namespace {

QString escaped(QChar character) {
    switch (character.unicode()) {
        case u'"':
            return u"\\\""_s;
        case u'\\':
            return u"\\\\"_s;
        case u'\n':
            return u"\\n"_s;
        case u'\r':
            return u"\\r"_s;
        case u'\t':
            return u"\\t"_s;
        default:
            break;
    }
    const bool isControl = character.unicode() < 0x20 || character.unicode() == 0x7F;
    return isControl ? u"\\u%1"_s.arg(int(character.unicode()), 4, 16, QChar(u'0')) : QString(character);
}

/// The tool would take these words for one of its own commands.
QString plainWord(const QString& instruction) {
    static const QStringList commands{u"resume"_s, u"review"_s, u"fork"_s, u"help"_s};
    return commands.contains(instruction) ? u' ' + instruction : agents::plainInstruction(instruction);
}

}  // namespace

QString effort(const QString& model) {
    const QString lower = model.toLower();
    if (lower.contains(u"haiku")) {
        return u"low"_s;
    }
    return lower.contains(u"opus") ? u"high"_s : u"medium"_s;
}

QString tomlString(const QString& text) {
    QString literal = u"\""_s;
    const QString valid = agents::argument(text);
    for (const QChar character : valid) {
        literal += escaped(character);
    }
    return literal + u'"';
}

QStringList arguments(const AgentRequest& request, const QString& workingDirectory) {
    return {u"exec"_s,
            u"--json"_s,
            u"--skip-git-repo-check"_s,
            u"--ephemeral"_s,
            u"--ignore-user-config"_s,
            u"--ignore-rules"_s,
            u"--sandbox"_s,
            u"read-only"_s,
            u"--color"_s,
            u"never"_s,
            u"-C"_s,
            workingDirectory,
            u"-c"_s,
            u"developer_instructions="_s + tomlString(request.systemPrompt),
            u"-c"_s,
            u"model_reasoning_effort=\"%1\""_s.arg(effort(request.model)),
            agents::argument(plainWord(request.instruction))};
}

QProcessEnvironment environment(const QString& executable) {
    auto environment = agentEnvironment(executable);
    environment.insert(u"RUST_LOG"_s, u"error"_s);
    return environment;
}

}  // namespace lumbro::codex
