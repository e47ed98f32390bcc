#include "runners/AgentFailure.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Text.h"
#include "chats/formats/Redact.h"
#include "runners/AgentText.h"

#include <QStringList>

namespace lumbro::agents {

namespace {

/// Where programs give a reason at the end of many lines, it stands in the last.
QString lastLine(const QByteArray& bytes) {
    constexpr qsizetype enough = 4096;
    constexpr qsizetype longest = 200;
    const QString text = Redact::secrets(QString::fromUtf8(bytes.last(std::min(bytes.size(), enough))));
    const QStringList lines = text.split(u'\n', Qt::SkipEmptyParts);
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
        if (!line->trimmed().isEmpty()) {
            return firstCharacters(line->trimmed(), longest);
        }
    }
    return {};
}

}  // namespace

QString endText(const ChildExit& exit, const QString& message) {
    QStringList parts{
        exit.bySignal ? u"ended by signal %1"_s.arg(exit.status) : u"exit status %1"_s.arg(exit.status),
        lastLine(exit.errors)};
    if (message.contains((exit.bySignal ? u"signal %1"_s : u"status %1"_s).arg(exit.status))) {
        parts.removeFirst();
    }
    parts.removeIf([&message](const QString& part) { return part.isEmpty() || message.contains(part); });
    return parts.join(u": "_s);
}

Failure notFound(Failure absent, const Failure& search) {
    if (search.kind == FailureKind::cancelled) {
        return search;
    }
    if (search.kind == FailureKind::timedOut) {
        absent.detail = search.message;
    }
    return absent;
}

Result<QString> explained(const QString& tool, Result<QString> result, const std::optional<ChildExit>& exit) {
    if (result || result.error().kind == FailureKind::cancelled) {
        return result;
    }
    Failure& failure = result.error();
    if (exit) {
        QStringList parts{failure.detail, endText(*exit, failure.message)};
        parts.removeAll(QString());
        failure.detail = parts.join(u", "_s);
    }
    failure.message = Redact::secrets(failure.message);
    failure.detail = Redact::secrets(failure.detail);
    const QString detail = failure.detail.isEmpty() ? QString() : u" ("_s + failure.detail + u')';
    AppLog::error(u"agent"_s, QString(tool + u": "_s + failure.message + detail).replace(u'\n', u' '));
    return result;
}

}  // namespace lumbro::agents
