#include "ask/formats/EventLines.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"

#include <QDate>
#include <QRegularExpression>
#include <QStringList>
#include <QTime>

#include <algorithm>
#include <array>
#include <optional>

namespace lumbro::eventLines {

namespace {

constexpr std::array<QStringView, 4> labels{u"event:", u"when:", u"length:", u"with:"};

bool isTime(const QString& text) {
    static const QRegularExpression form(u"(\\d{4})-(\\d{2})-(\\d{2})[ T](\\d{1,2}):(\\d{2})"_s);
    const auto match = form.match(text);
    return match.hasMatch() &&
           QDate::isValid(match.captured(1).toInt(), match.captured(2).toInt(), match.captured(3).toInt()) &&
           QTime::isValid(match.captured(4).toInt(), match.captured(5).toInt(), 0);
}

bool isEventLine(const QString& line) {
    const QString bare = trimmedBlanks(QString(line).remove(u"**"_s)).toString().toLower();
    return std::ranges::any_of(labels, [&](QStringView label) { return bare.startsWith(label); });
}

}  // namespace

bool holdsEvent(const QString& text) {
    std::optional<QString> title;
    std::optional<QString> when;
    for (QString line : text.split(u'\n')) {
        line = trimmedOf(line.remove(u"**"_s), u" -*•\t").toString();
        const qsizetype colon = line.indexOf(u':');
        const QString key = trimmedBlanks(QStringView(line).first(std::max<qsizetype>(colon, 0))).toString();
        const QString value = trimmedBlanks(QStringView(line).sliced(colon + 1)).toString();
        if (key.toLower() == u"event" && !title) {
            title = value;
        } else if (key.toLower() == u"when" && !when) {
            when = value;
        }
    }
    return !title.value_or(QString()).isEmpty() && isTime(when.value_or(QString()));
}

QString removed(const QString& text) {
    QStringList lines = text.split(u'\n');
    lines.removeIf(isEventLine);
    return lines.join(u'\n').trimmed();
}

}  // namespace lumbro::eventLines
