#include "app/StatusText.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"

#include <algorithm>

namespace lumbro {

namespace {

constexpr qsizetype longestTitle = 24;
constexpr qsizetype titleCut = 23;
constexpr qint64 secondsPerMinute = 60;
constexpr qint64 minutesToCount = 59;

QString shortTitle(const QString& title) {
    QString text = title.trimmed();
    if (firstCharacters(text, longestTitle) == text) {
        return text;
    }
    text = firstCharacters(text, titleCut);
    while (!text.isEmpty() && text.back().isSpace()) {
        text.chop(1);
    }
    return text + u'…';
}

}  // namespace

QString statusText(const QList<PrepEvent>& events, const QDateTime& now) {
    const auto next = std::ranges::find_if(events, [&now](const PrepEvent& event) {
        return event.end > now && event.start.toLocalTime().date() == now.toLocalTime().date();
    });
    if (next == events.end()) {
        return {};
    }
    const QString title = u' ' + shortTitle(next->title);
    const qint64 milliseconds = now.msecsTo(next->start);
    if (milliseconds <= 0) {
        return title + u" · now"_s;
    }
    const qint64 perMinute = secondsPerMinute * 1000;
    const qint64 minutes = (milliseconds + perMinute - 1) / perMinute;
    if (minutes > minutesToCount) {
        return title + u" · "_s + dates::shortTime(next->start);
    }
    return title + u" in %1m"_s.arg(minutes);
}

}  // namespace lumbro
