#include "runners/ClaudeOutput.h"

#include "runners/AgentText.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace lumbro::claude {

EventStream::EventStream(const std::optional<QString>& connector, OnText onText)
    : m_prefix(connector.value_or(QString()) + u"__"_s),
      m_onText(std::move(onText)),
      m_gate(connector ? Gate::waiting : Gate::passed),
      m_lines([this](const QByteArray& line) { take(line); }) {}

void EventStream::finish() {
    m_isLastLine = true;
    m_lines.finish();
}

void EventStream::take(const QByteArray& line) {
    const bool mayBeResult = line.contains("\"result\"");
    const bool mayBeInit = m_gate == Gate::waiting && !m_isLastLine && line.contains("init");
    const bool mayBeText = m_onText && line.contains("\"stream_event\"");
    if (!mayBeResult && !mayBeInit && !mayBeText) {
        return;
    }
    const QJsonDocument document = QJsonDocument::fromJson(line);
    if (!document.isObject()) {
        return;
    }
    const QJsonObject event = document.object();
    if (const auto piece = mayBeText ? m_text.take(event) : std::nullopt) {
        m_onText(piece->text, piece->isNew);
    }
    if (event.value(u"type").toString() == u"result") {
        m_result = event;
    }
    if (mayBeInit && event.value(u"subtype").toString() == u"init") {
        const QJsonArray tools = event.value(u"tools").toArray();
        const bool isThere = std::ranges::any_of(
            tools, [&](const auto& tool) { return tool.toString().startsWith(m_prefix); });
        m_gate = isThere ? Gate::passed : Gate::refused;
    }
}

std::optional<QJsonObject> plainResult(const QByteArray& output) {
    const QJsonDocument document = QJsonDocument::fromJson(output);
    return document.isObject() ? std::optional(document.object()) : std::nullopt;
}

namespace {

/// Of a run that printed no result object.
Failure unreadable(const ChildExit& exit) {
    const QString text = agents::reasonText(exit.output);
    Failure failure = agents::classify(text);
    const bool isAnswer = exit.status == 0 || text.startsWith(u'{');
    if (failure.kind == FailureKind::failed && !text.isEmpty() && isAnswer) {
        failure.detail = u"Claude Code's answer can't be read"_s;
    }
    return failure;
}

}  // namespace

Result<QString> judge(const AgentEnd& end, const std::optional<QJsonObject>& result) {
    const QString errors = agents::reasonText(end.exit.errors);
    if (!result) {
        if (end.timedOut) {
            return std::unexpected(agents::timedOut());
        }
        return std::unexpected(errors.isEmpty() ? unreadable(end.exit) : agents::classify(errors));
    }
    const QString text = result->value(u"result").toString().trimmed();
    const QJsonValue isError = result->value(u"is_error");
    const bool hasFailed =
        end.exit.bySignal || end.exit.status != 0 || (isError.isBool() && isError.toBool());
    if (!hasFailed && !text.isEmpty()) {
        return text;
    }
    return std::unexpected(agents::classify(text.isEmpty() ? errors : text));
}

}  // namespace lumbro::claude
