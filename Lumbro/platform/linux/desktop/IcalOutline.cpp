#include "platform/linux/desktop/IcalOutline.h"

#include <QDate>

#include <algorithm>
#include <array>
#include <cstring>
#include <optional>

namespace lumbro {

namespace {

constexpr qint64 secondsPerDay = 86400;
constexpr qint64 epochDay = 2'440'588;
/// Zones are at most a day apart, and a day may end in the next one.
constexpr qint64 slack = 2;
/// No event is taken to be longer, see IcalSeries.
constexpr qint64 mostDays = 367;
constexpr QByteArrayView whole = "END:VCALENDAR";

/// The line begins with the word, in any case.
bool begins(QByteArrayView line, QByteArrayView word) {
    return line.size() >= word.size() && qstrnicmp(line.data(), word.size(), word.data(), word.size()) == 0;
}

/// It is this property, whatever parameters it has.
bool isProperty(QByteArrayView line, QByteArrayView name) {
    return begins(line, name) && line.size() > name.size() &&
           (line[name.size()] == ':' || line[name.size()] == ';');
}

/// The day in "DTSTART;TZID=Europe/Berlin:20260327T090000".
std::optional<qint64> dayIn(QByteArrayView line) {
    const qsizetype colon = line.lastIndexOf(':');
    const QByteArrayView value = colon < 0 ? QByteArrayView() : line.sliced(colon + 1);
    if (value.size() < 8 ||
        !std::all_of(value.begin(), value.begin() + 8, [](char c) { return c >= '0' && c <= '9'; })) {
        return std::nullopt;
    }
    std::array<int, 8> number{};
    std::ranges::transform(value.first(8), number.begin(), [](char c) { return c - '0'; });
    const QDate day(number[0] * 1000 + number[1] * 100 + number[2] * 10 + number[3],
                    number[4] * 10 + number[5], number[6] * 10 + number[7]);
    return day.isValid() ? std::optional(day.toJulianDay()) : std::nullopt;
}

class Scan {
  public:
    void take(QByteArrayView line) {
        if (isOdd(line)) {
            m_outline.hasEvents = m_outline.hasTasks = m_outline.isAnyTime = true;
        }
        m_isBegin = begins(line, "BEGIN");
        if (begins(line, "BEGIN:")) {
            // A text without line ends has but one line.
            m_outline.isCalendar = m_outline.isCalendar || !line.contains('\r');
            ++m_open;
            begin(line.sliced(6));
        } else if (begins(line, "END:")) {
            m_open = std::max(m_open - 1, 0);
            m_nested = std::max(m_nested - 1, 0);
            m_isEvent = m_isEvent && m_nested > 0;
        } else if (m_isEvent && m_nested == 1) {
            takeProperty(line);
        }
    }
    IcalOutline result() {
        if (m_outline.lastDay >= m_outline.firstDay && m_hasDuration) {
            m_outline.lastDay += mostDays;
        }
        m_outline.isTorn = m_open > 0;
        return m_outline;
    }

  private:
    /// A reader that forgives much may find more in such a line: a name that goes on in the next line, or
    /// what is called "BEGIN" without a colon.
    bool isOdd(QByteArrayView line) const {
        if (line.startsWith(' ') || line.startsWith('\t')) {
            return m_isBegin;
        }
        return !line.isEmpty() && (!line.contains(':') || (begins(line, "BEGIN") && line.indexOf(':') != 5));
    }
    void begin(QByteArrayView kind) {
        if (m_isEvent) {
            ++m_nested;  // An alarm, whose times are its own.
        } else if (begins(kind, "VEVENT")) {
            m_outline.hasEvents = true;
            m_isEvent = true;
            m_nested = 1;
        } else if (begins(kind, "VTODO")) {
            m_outline.hasTasks = true;
        }
    }
    void takeProperty(QByteArrayView line) {
        switch (line.isEmpty() ? '\0' : char(line[0] | 0x20)) {
            case 'd':
                if (isProperty(line, "DTSTART") || isProperty(line, "DTEND")) {
                    takeDay(dayIn(line));
                }
                m_hasDuration = m_hasDuration || isProperty(line, "DURATION");
                break;
            case 'r':
                m_outline.isAnyTime =
                    m_outline.isAnyTime || isProperty(line, "RRULE") || isProperty(line, "RDATE");
                break;
            default:
                break;
        }
    }
    void takeDay(std::optional<qint64> day) {
        if (!day) {
            m_outline.isAnyTime = true;
        } else if (m_outline.lastDay < m_outline.firstDay) {
            m_outline.firstDay = *day;
            m_outline.lastDay = *day;
        } else {
            m_outline.firstDay = std::min(m_outline.firstDay, *day);
            m_outline.lastDay = std::max(m_outline.lastDay, *day);
        }
    }

    IcalOutline m_outline;
    bool m_isBegin = false;
    bool m_isEvent = false;
    bool m_hasDuration = false;
    int m_nested = 0;
    int m_open = 0;
};

}  // namespace

IcalOutline IcalOutline::of(QByteArrayView bytes) {
    Scan scan;
    const char* at = bytes.data() + (bytes.startsWith("\xEF\xBB\xBF") ? 3 : 0);
    const char* const end = bytes.data() + bytes.size();
    while (at < end) {
        const auto* newline = static_cast<const char*>(memchr(at, '\n', size_t(end - at)));
        const char* const lineEnd = newline == nullptr ? end : newline;
        const char* const textEnd = lineEnd > at && lineEnd[-1] == '\r' ? lineEnd - 1 : lineEnd;
        scan.take(QByteArrayView(at, textEnd));
        at = newline == nullptr ? end : newline + 1;
    }
    IcalOutline outline = scan.result();
    const QByteArrayView text = bytes.trimmed();
    outline.isWhole = begins(text.last(std::min(text.size(), whole.size())), whole);
    return outline;
}

bool IcalOutline::mayTouch(qint64 from, qint64 to) const {
    const qint64 first = epochDay + from / secondsPerDay - slack;
    const qint64 last = epochDay + to / secondsPerDay + slack;
    return hasEvents && (isAnyTime || (firstDay <= last && lastDay >= first));
}

}  // namespace lumbro
