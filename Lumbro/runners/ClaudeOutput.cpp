#include "runners/ClaudeOutput.h"

#include "runners/AgentText.h"

#include <QJsonDocument>

namespace lumbro::claude {

EventStream::EventStream(const AgentRequest& request)
    : m_prefix(request.requireTools.value_or(QString()) + u"__"_s),
      m_mustNotLoad(request.mustNotLoad),
      m_onText(request.onText),
      m_isGateAhead(request.requireTools.has_value()),
      m_lines([this](const QByteArray& line) { take(line); }) {}

void EventStream::finish() {
    m_isLastLine = true;
    m_lines.finish();
}

void EventStream::take(const QByteArray& line) {
    const bool mayBeResult = line.contains("\"result\"");
    const bool mayBeInit = m_isGateAhead && !m_isLastLine && line.contains("init");
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
        m_isGateAhead = false;
        m_refusal = refusalOf(event.value(u"tools").toArray());
    }
}

std::optional<Failure> EventStream::refusalOf(const QJsonArray& tools) const {
    bool isThere = false;
    for (const QJsonValue tool : tools) {
        const QString name = tool.toString();
        const bool isOurs = name.startsWith(m_prefix);
        if (isOurs && m_mustNotLoad && m_mustNotLoad(name)) {
            return agents::toolNotDenied(name);
        }
        isThere = isThere || isOurs;
    }
    return isThere ? std::nullopt : std::optional(agents::toolsNotReady());
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
