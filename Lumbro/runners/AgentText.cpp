#include "runners/AgentText.h"

#include "LumbroCore/Text.h"
#include "chats/formats/Redact.h"

#include <QStringDecoder>

namespace lumbro::agents {

namespace {

constexpr qsizetype longestReason = qsizetype(1024) * 1024;
// The kernel counts the ending zero byte too.
constexpr qsizetype longestArgument = qsizetype(128) * 1024 - 1;

bool holdsAny(const QString& text, std::initializer_list<QStringView> words) {
    return std::ranges::any_of(words, [&](QStringView word) { return text.contains(word); });
}

}  // namespace

Failure notInstalled() {
    return {FailureKind::notInstalled, u"Claude Code isn't installed"_s};
}

Failure notLoggedIn() {
    return {FailureKind::notLoggedIn, u"Run `claude` in Terminal once to log in"_s};
}

Failure timedOut() {
    return {FailureKind::timedOut, u"Claude took too long. Try again."_s};
}

Failure cancelled() {
    return {FailureKind::cancelled, u"Cancelled"_s};
}

Failure toolsNotReady() {
    return {FailureKind::toolsNotReady, u"The app didn't load in time. Nothing was changed."_s};
}

Failure toolNotDenied(const QString& tool) {
    return {FailureKind::failed,
            u"Your Claude Code can't be kept from using %1, so it was ended and nothing was changed. Update "
            u"it and "
            "try again."_s.arg(tool)};
}

QString reasonText(const QByteArray& bytes) {
    qsizetype end = std::min(bytes.size(), longestReason);
    while (end < bytes.size() && end > 0 && (static_cast<unsigned char>(bytes[end]) & 0xC0) == 0x80) {
        --end;
    }
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decoder(QByteArrayView(bytes).first(end));
    // What shows nothing is no reason, so that the caller tells another one.
    const bool shows = std::ranges::any_of(text, [](QChar c) { return c.isPrint() && !c.isSpace(); });
    return decoder.hasError() || !shows ? QString() : text.trimmed();
}

Failure classify(const QString& text) {
    const QString lower = text.toLower();
    if (holdsAny(lower, {u"login", u"log in", u"not authenticated", u"invalid api key", u"/login"})) {
        return notLoggedIn();
    }
    if (holdsAny(lower, {u"limit", u"usage"})) {
        return {FailureKind::limit, shown(text, 200)};
    }
    return {FailureKind::failed, text.isEmpty() ? u"Claude Code failed"_s : shown(text, 240)};
}

QString shown(const QString& text, qsizetype count) {
    // Cut first, half a secret would no longer look like one.
    return firstCharacters(Redact::secrets(text), count);
}

QString plainInstruction(const QString& instruction) {
    const bool isRead = instruction.startsWith(u'-') || instruction.startsWith(u'/');
    return isRead ? u' ' + instruction : instruction;
}

Result<> checkArguments(const QString& tool, const QStringList& arguments) {
    for (const QString& text : arguments) {
        if (text.toUtf8().size() > longestArgument) {
            return fail(
                u"The prompt is too long for %1: its instructions may have 128 KB at most. "
                "Shorten them and try again."_s.arg(tool));
        }
    }
    return {};
}

QString argument(const QString& text) {
    QString valid = QString::fromUtf8(text.toUtf8());
    return valid.remove(QChar::Null);
}

}  // namespace lumbro::agents
