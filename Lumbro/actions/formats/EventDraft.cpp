#include "actions/formats/EventDraft.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"

#include <QHash>
#include <QLocale>
#include <QRegularExpression>

#include <algorithm>

namespace lumbro {

namespace {

const QLocale& english() {
    static const QLocale locale(QLocale::English, QLocale::UnitedStates);
    return locale;
}

/// The values of the lines "key: value". The first line of a key wins.
QHash<QString, QString> linesByKey(const QString& text) {
    QHash<QString, QString> values;
    for (QString line : text.split(u'\n')) {
        line = trimmedOf(line.remove(u"**"_s), u" -*•\t\r").toString();
        const qsizetype colon = line.indexOf(u':');
        if (colon < 0) {
            continue;
        }
        const QString key = line.first(colon).trimmed().toLower();
        if (!values.contains(key)) {
            values.insert(key, line.sliced(colon + 1).trimmed());
        }
    }
    return values;
}

std::optional<QDateTime> time(const QString& text) {
    static const QRegularExpression form(u"(\\d{4})-(\\d{2})-(\\d{2})[ T](\\d{1,2}):(\\d{2})"_s);
    const auto match = form.match(text);
    const auto number = [&](int group) { return match.captured(group).toInt(); };
    if (!match.hasMatch() || !QDate::isValid(number(1), number(2), number(3)) ||
        !QTime::isValid(number(4), number(5), 0)) {
        return std::nullopt;
    }
    const QDateTime local(QDate(number(1), number(2), number(3)), QTime(number(4), number(5)));
    // The hour that is left out in spring is the one after it.
    return local.isValid() ? local : QDateTime::fromMSecsSinceEpoch(local.toMSecsSinceEpoch());
}

int minutesOf(const QString& text) {
    static const QRegularExpression number(u"(\\d+(?:\\.\\d+)?)"_s);
    constexpr int usual = 30;
    constexpr double most = 24 * 60;
    const QString lower = text.toLower();
    const auto match = number.match(lower);
    if (!match.hasMatch()) {
        return usual;
    }
    const bool isHours = lower.contains(u'h') && !lower.contains(u"min");
    const double minutes = match.captured(1).toDouble() * (isHours ? 60 : 1);
    // A number that no call lasts is a slip of the agent's, and the user would find the days blocked.
    return minutes <= most ? static_cast<int>(minutes) : usual;
}

QStringList guests(const QString& text) {
    QStringList all = text.split(u',');
    for (QString& guest : all) {
        guest = guest.trimmed();
    }
    all.removeIf([](const QString& guest) {
        const QString lower = guest.toLower();
        return lower.isEmpty() || lower == u"me" || lower == u"i";
    });
    return all;
}

}  // namespace

std::optional<EventDraft> EventDraft::parse(const QString& text) {
    const auto values = linesByKey(text);
    const QString title = values.value(u"event"_s);
    const auto start = time(values.value(u"when"_s));
    if (title.isEmpty() || !start) {
        return std::nullopt;
    }
    return EventDraft{.title = title,
                      .start = *start,
                      .minutes = minutesOf(values.value(u"length"_s)),
                      .with = guests(values.value(u"with"_s))};
}

QString EventDraft::id() const {
    return title + u'@' + dates::iso(start);
}

QString EventDraft::whenText() const {
    return english().toString(start.date(), u"ddd, MMM d"_s) + u" · "_s + dates::shortTime(start) + u" · "_s +
           QString::number(minutes) + u" min"_s;
}

QStringList EventDraft::names() const {
    static const QRegularExpression address(u"<[^>]*>"_s);
    QStringList names;
    for (QString guest : with) {
        const QString name = guest.remove(address).trimmed();
        if (!name.isEmpty() && !name.contains(u'@')) {
            names.append(name.section(u' ', 0, 0, QString::SectionSkipEmpty));
        }
    }
    return names;
}

QStringList EventDraft::emails() const {
    static const QRegularExpression address(u"[A-Za-z0-9._%+-]+@[A-Za-z0-9.-]+\\.[A-Za-z]{2,}"_s);
    QStringList emails;
    for (const QString& guest : with) {
        if (const auto match = address.match(guest); match.hasMatch()) {
            emails.append(match.captured());
        }
    }
    return emails;
}

EmailDraft EventDraft::invite() const {
    const QString greeting = names().isEmpty() ? u"Hi,"_s : u"Hi "_s + names().join(u" and "_s) + u',';
    const QString day = english().toString(start.date(), u"dddd, MMMM d"_s);
    return {.to = emails(),
            .subject = title,
            .body = greeting +
                    u"\n\nDoes %1 at %2 work for our next call? I've held %3 minutes for it.\n\n"_s.arg(
                        day, dates::shortTime(start), QString::number(minutes))};
}

}  // namespace lumbro
