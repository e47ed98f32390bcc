#include "actions/formats/EmailDraft.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"

#include <QUrl>

#include <optional>

namespace lumbro {

namespace {

QByteArray encoded(QString text) {
    // The form of line ends that the address asks for.
    text.replace(u"\r\n"_s, u"\n"_s).replace(u"\n"_s, u"\r\n"_s);
    return QUrl::toPercentEncoding(text);
}

QByteArray head(const QStringList& to, const QString& subject) {
    QByteArray url = "mailto:";
    for (const QString& recipient : to) {
        if (!url.endsWith(':')) {
            url += ',';
        }
        url += QUrl::toPercentEncoding(recipient, "@");
    }
    return url + "?subject=" + encoded(subject) + "&body=";
}

/// How much of the text takes at most `mostBytes` in an address: up to a blank if there is one near the end.
qsizetype fitting(const QString& text, qsizetype mostBytes) {
    constexpr qsizetype longestWord = 200;
    qsizetype bytes = 0;
    qsizetype blank = -1;
    for (qsizetype at = 0; at < text.size();) {
        const bool isPair = text[at].isHighSurrogate() && at + 1 < text.size();
        const qsizetype length = isPair ? 2 : 1;
        bytes += encoded(text.mid(at, length)).size();
        if (bytes > mostBytes) {
            return blank >= 0 && at - blank < longestWord ? blank : at;
        }
        if (text[at].isSpace()) {
            blank = at;
        }
        at += length;
    }
    return text.size();
}

}  // namespace

EmailDraft EmailDraft::parse(const QString& text, const QStringList& recipients) {
    QStringList body;
    QString subject;
    bool hasSubject = false;
    for (const QString& line : text.split(u'\n')) {
        const QString plain = QString(line).remove(u"**"_s);
        const QStringView bare = trimmedBlanks(plain);
        if (hasSubject || !bare.startsWith(u"subject", Qt::CaseInsensitive)) {
            body.append(plain);
            continue;
        }
        const qsizetype colon = bare.indexOf(u':');
        hasSubject = colon >= 0 && !bare.sliced(colon + 1).trimmed().isEmpty();
        subject = hasSubject ? bare.sliced(colon + 1).trimmed().toString() : QString();
    }
    return {.to = recipients, .subject = subject, .body = body.join(u'\n').trimmed()};
}

bool EmailDraft::looksLikeEmail(const QString& title, const QString& body) {
    return title.contains(u"email", Qt::CaseInsensitive) || body.contains(u"**subject", Qt::CaseInsensitive);
}

Result<bool> EmailDraft::fit(qsizetype mostBytes) {
    const EmailDraft whole = *this;
    // Half is enough for any sensible head; what it leaves is the body's.
    const qsizetype mostHead = mostBytes / 2;
    const qsizetype roomForSubject = mostHead - head(to, {}).size();
    if (roomForSubject < 0) {
        return fail(
            to.size() > 1
                ? u"A mail program can't be handed %1 recipients at once; name fewer with --to."_s.arg(
                      to.size())
                : u"A mail program can't be handed a recipient as long as this one."_s);
    }
    subject.truncate(fitting(subject, roomForSubject));
    body.truncate(fitting(body, mostBytes - head(to, subject).size()));
    return *this != whole;
}

QByteArray EmailDraft::url() const {
    return head(to, subject) + encoded(body);
}

}  // namespace lumbro
