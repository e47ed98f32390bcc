#include "LumbroCore/Dates.h"

#include "LumbroCore/Literals.h"

#include <QLocale>

#include <chrono>
#include <mutex>

#include <time.h>

namespace lumbro::dates {

namespace {

constexpr qint64 secondsPerDay = 86400;

const QLocale& english() {
    static const QLocale locale(QLocale::English, QLocale::UnitedStates);
    return locale;
}

/// The zone's offset in seconds at a moment. The C library is asked for the ends of a week; in between the
/// offset stands, so that reading thousands of dates does not ask it thousands of times.
class ZoneOffsets {
  public:
    int at(qint64 seconds) {
        constexpr qint64 week = 7 * secondsPerDay;
        using namespace std::chrono_literals;
        const auto now = std::chrono::steady_clock::now();
        if (now > m_expiry) {
            const std::scoped_lock lock(zoneMutex());
            tzset();  // The user may have travelled.
            m_expiry = now + 1s;
            m_end = m_begin;
        }
        if (seconds >= m_begin && seconds < m_end) {
            return m_offset;
        }
        const qint64 begin = seconds - ((seconds % week) + week) % week;
        const int first = ask(begin);
        if (first != ask(begin + week - 1)) {
            return ask(seconds);
        }
        m_begin = begin;
        m_end = begin + week;
        m_offset = first;
        return first;
    }

  private:
    /// The C library locks for itself, in a way that ThreadSanitizer cannot see.
    static std::mutex& zoneMutex() {
        static std::mutex mutex;
        return mutex;
    }
    static int ask(qint64 seconds) {
        const std::scoped_lock lock(zoneMutex());
        const auto time = static_cast<time_t>(seconds);
        tm local{};
        return localtime_r(&time, &local) == nullptr ? 0 : static_cast<int>(local.tm_gmtoff);
    }

    qint64 m_begin = 0;
    qint64 m_end = 0;
    int m_offset = 0;
    std::chrono::steady_clock::time_point m_expiry;
};

/// The number in `count` digits at `at`, or -1.
int digits(QStringView text, qsizetype at, qsizetype count) {
    int number = 0;
    for (const QChar c : text.sliced(at, count)) {
        if (c < u'0' || c > u'9') {
            return -1;
        }
        number = number * 10 + (c.unicode() - u'0');
    }
    return number;
}

/// Reads exactly the form that `iso` writes.
std::optional<QDateTime> fromOwnForm(QStringView text) {
    if (text.size() != 20 || text[4] != u'-' || text[7] != u'-' || text[10] != u'T' || text[13] != u':' ||
        text[16] != u':' || text[19] != u'Z') {
        return std::nullopt;
    }
    const QDate date(digits(text, 0, 4), digits(text, 5, 2), digits(text, 8, 2));
    const QTime time(digits(text, 11, 2), digits(text, 14, 2), digits(text, 17, 2));
    if (!date.isValid() || !time.isValid()) {
        return std::nullopt;
    }
    const qint64 seconds = (date.toJulianDay() - QDate(1970, 1, 1).toJulianDay()) * secondsPerDay +
                           time.msecsSinceStartOfDay() / 1000;
    thread_local ZoneOffsets offsets;
    return QDateTime::fromMSecsSinceEpoch(seconds * 1000, Qt::OffsetFromUTC, offsets.at(seconds));
}

}  // namespace

QString iso(const QDateTime& date) {
    using namespace std::chrono;
    const sys_time<milliseconds> moment{milliseconds(date.toMSecsSinceEpoch())};
    const auto midnight = floor<days>(moment);
    const year_month_day day(midnight);
    // Qt's own calendar and formatting take many times as long, which lists of thousands of captures feel.
    if (!date.isValid() || day.year() < year(1) || day.year() > year(9999)) {
        return date.toUTC().toString(Qt::ISODate);
    }
    const hh_mm_ss time(floor<seconds>(moment - midnight));
    QString text = u"0000-00-00T00:00:00Z"_s;
    QChar* digits = text.data();
    const auto put = [digits](qsizetype end, auto number) {
        for (qsizetype at = end; number > 0; number /= 10) {
            digits[at--] = QChar(static_cast<char16_t>(u'0' + number % 10));
        }
    };
    put(3, int(day.year()));
    put(6, unsigned(day.month()));
    put(9, unsigned(day.day()));
    put(12, time.hours().count());
    put(15, time.minutes().count());
    put(18, time.seconds().count());
    return text;
}

/// Qt reads some texts with stray characters in them as other dates.
static bool hasIsoForm(QStringView text) {
    constexpr QStringView form = u"0000-00-00T00:00:00";
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t wanted = i < form.size() ? form[i].unicode() : u'*';
        const char16_t c = text[i].unicode();
        const bool isDigit = c >= u'0' && c <= u'9';
        const bool fits = wanted == u'0'   ? isDigit
                          : wanted == u'*' ? isDigit || QStringView(u"+-:.Z").contains(QChar(c))
                                           : c == wanted;
        if (!fits) {
            return false;
        }
    }
    return text.size() == 10 || text.size() == 16 || text.size() >= form.size();
}

std::optional<QDateTime> fromIso(QStringView text) {
    if (!hasIsoForm(text)) {
        return std::nullopt;
    }
    if (auto date = fromOwnForm(text)) {
        return date;
    }
    const QDateTime date = QDateTime::fromString(text.toString(), Qt::ISODateWithMs);
    if (!date.isValid()) {
        return std::nullopt;
    }
    return date.toLocalTime();
}

QString folderStamp(const QDateTime& date) {
    return date.toLocalTime().toString(u"yyyy-MM-dd-HHmm"_s);
}

QString inboxStamp(const QDateTime& date) {
    return date.toLocalTime().toString(u"yyyy-MM-dd-HHmmss"_s);
}

QString day(const QDateTime& date) {
    return date.toLocalTime().toString(u"yyyy-MM-dd"_s);
}

QString logStamp(const QDateTime& date) {
    return date.toLocalTime().toString(u"yyyy-MM-dd HH:mm:ss.zzz"_s);
}

QString readableDay(const QDateTime& date) {
    return english().toString(date.toLocalTime().date(), u"MMM d, yyyy"_s);
}

QString readable(const QDateTime& date) {
    return readableDay(date) + u" at "_s + shortTime(date);
}

QString longReadable(const QDateTime& date) {
    return english().toString(date.toLocalTime(), u"dddd, MMMM d, yyyy 'at' h:mm AP"_s);
}

QString shortTime(const QDateTime& date) {
    return english().toString(date.toLocalTime().time(), u"h:mm AP"_s);
}

}  // namespace lumbro::dates
