#include "runners/CodexOutput.h"

#include "LumbroCore/Json.h"
#include "runners/AgentText.h"

#include <QRegularExpression>

namespace lumbro::codex {

namespace {

bool holdsAny(const QString& text, std::initializer_list<QStringView> words) {
    return std::ranges::any_of(words, [&](QStringView word) { return text.contains(word); });
}

bool isNoise(const QString& line) {
    static const QRegularExpression datedError(u"^\\d{4}-\\d\\d-\\d\\dT\\S+\\s+ERROR\\b"_s);
    return line.startsWith(u"Reading additional input from stdin") ||
           line.startsWith(u"WARNING: proceeding") || datedError.match(line).hasMatch();
}

}  // namespace

EventStream::EventStream() : m_lines([this](const QByteArray& line) { take(line); }) {}

void EventStream::take(const QByteArray& line) {
    const QJsonObject event = json::object(line);
    const QString type = event.value(u"type").toString();
    if (type == u"item.completed") {
        const QJsonObject item = event.value(u"item").toObject();
        if (item.value(u"type").toString() == u"agent_message") {
            m_answer = item.value(u"text").toString().trimmed();
        }
    } else if (type == u"turn.failed") {
        m_failure = event.value(u"error").toObject().value(u"message").toString();
    } else if (type == u"error") {
        m_failure = event.value(u"message").toString();
    }
}

QString readableErrors(const QByteArray& errors) {
    QStringList lines = agents::reasonText(errors).split(u'\n');
    lines.removeIf([](const QString& line) { return isNoise(line.trimmed()); });
    return lines.join(u'\n').trimmed();
}

Failure classify(const QString& text) {
    const QString lower = text.toLower();
    if (holdsAny(lower, {u"login", u"log in", u"sign in", u"unauthorized"})) {
        return {FailureKind::failed, u"Run `codex login` in Terminal to sign in to Codex"_s};
    }
    if (holdsAny(lower, {u"usage limit", u"rate limit", u"quota"})) {
        return {FailureKind::limit, agents::shown(text, 200)};
    }
    return {FailureKind::failed, text.isEmpty() ? u"Codex failed"_s : agents::shown(text, 240)};
}

Result<QString> judge(const AgentEnd& end, const EventStream& events) {
    if (end.exit.status == 0 && !end.exit.bySignal && !events.answer().isEmpty()) {
        return events.answer();
    }
    if (end.timedOut) {
        return fail(u"Codex took too long. Try again."_s);
    }
    const QString told = events.failure().value_or(QString()).trimmed();
    return std::unexpected(classify(told.isEmpty() ? readableErrors(end.exit.errors) : told));
}

}  // namespace lumbro::codex
