#include "actions/formats/EventDraft.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "actions/formats/GuestList.h"
#include "actions/formats/VisibleText.h"

#include <QHash>
#include <QLocale>
#include <QRegularExpression>

#include <algorithm>
#include <limits>

namespace lumbro {

namespace {

constexpr int dayMinutes = 24 * 60;

const QLocale& english() {
    static const QLocale locale(QLocale::English, QLocale::UnitedStates);
    return locale;
}

/// The values of lines "key: value". The first line of a key wins.
using Values = QHash<QString, QString>;

/// Those of the whole text, and then those from each line "event: …" to the next.
QList<Values> linesByKey(const QString& text) {
    QList<Values> found(1);
    for (QString line : text.split(u'\n')) {
        line = trimmedOf(line.remove(u"**"_s), u" -*•\t\r").toString();
        const qsizetype colon = line.indexOf(u':');
        if (colon < 0) {
            continue;
        }
        const QString key = line.first(colon).trimmed().toLower();
        const QString value = line.sliced(colon + 1).trimmed();
        if (key == u"event") {
            found.append(Values());
        }
        for (Values* values : {&found.first(), &found.last()}) {
            if (!values->contains(key)) {
                values->insert(key, value);
            }
        }
    }
    return found;
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
    constexpr double most = std::numeric_limits<int>::max();
    const QString lower = text.toLower();
    const auto match = number.match(lower);
    if (!match.hasMatch()) {
        return usual;
    }
    const bool isHours = lower.contains(u'h') && !lower.contains(u"min");
    return static_cast<int>(std::min(match.captured(1).toDouble() * (isHours ? 60 : 1), most));
}

QStringList guests(const QString& text) {
    QStringList all = guestList::split(text);
    all.removeIf([](const QString& guest) {
        const QString lower = guest.toLower();
        return lower == u"me" || lower == u"i";
    });
    return all;
}

}  // namespace

static std::optional<EventDraft> draftOf(const Values& values) {
    const QString title = visibleText(values.value(u"event"_s));
    const auto start = time(values.value(u"when"_s));
    if (title.isEmpty() || !start) {
        return std::nullopt;
    }
    return EventDraft{.title = title,
                      .start = *start,
                      .minutes = minutesOf(values.value(u"length"_s)),
                      .with = guests(values.value(u"with"_s))};
}

std::optional<EventDraft> EventDraft::parse(const QString& text) {
    for (const Values& values : linesByKey(text)) {
        if (auto draft = draftOf(values)) {
            return draft;
        }
    }
    return std::nullopt;
}

QString EventDraft::id() const {
    return title + u'@' + dates::iso(start);
}

QString EventDraft::whenText() const {
    return english().toString(start.date(), u"ddd, MMM d"_s) + u" · "_s + dates::shortTime(start) + u" · "_s +
           QString::number(minutes) + u" min"_s;
}

QStringList EventDraft::names() const {
    QStringList names;
    for (const QString& guest : with) {
        names.append(guestList::firstName(guest));
    }
    names.removeAll(QString());
    return names;
}

QStringList EventDraft::emails() const {
    QStringList emails;
    for (const QString& guest : with) {
        emails.append(guestList::email(guest));
    }
    emails.removeAll(QString());
    return emails;
}

std::optional<QString> EventDraft::fault() const {
    constexpr int firstYear = 1970;
    constexpr int lastYear = 2099;
    const int year = start.date().year();
    if (year < firstYear || year > lastYear) {
        return u"The year %1 can't be meant; ask again with a day from %2 to %3."_s
            .arg(year, 4, 10, QChar(u'0'))
            .arg(firstYear)
            .arg(lastYear);
    }
    if (minutes <= 0) {
        return u"An event of no length can't be meant; ask again with how long it takes."_s;
    }
    constexpr int mostMinutes = 366 * dayMinutes;
    if (minutes > mostMinutes) {
        return u"An event of more than a year can't be meant; ask again with how long it takes."_s;
    }
    if (visibleText(title).isEmpty()) {
        return u"An event without a title can't be added; ask again with what it is about."_s;
    }
    return std::nullopt;
}

QStringList EventDraft::oddities(const QDateTime& now) const {
    constexpr int fewMinutes = 5;
    QStringList sentences;
    if (minutes < fewMinutes) {
        sentences.append(minutes == 1 ? u"It takes only a minute."_s
                                      : u"It takes only %1 minutes."_s.arg(minutes));
    }
    if (minutes > dayMinutes) {
        sentences.append(u"It is over a day long."_s);
    }
    // The usual form of a day tells no year.
    if (const int year = start.date().year(); year != now.toLocalTime().date().year()) {
        sentences.append(u"It is in %1."_s.arg(year));
    }
    if (end() <= now) {
        sentences.append(u"It is over already."_s);
    }
    return sentences;
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
