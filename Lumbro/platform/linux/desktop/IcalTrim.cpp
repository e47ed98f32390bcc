#include "platform/linux/desktop/IcalTrim.h"

#include <algorithm>
#include <array>

namespace lumbro {

namespace {

constexpr std::array<QByteArrayView, 23> read{
    "ATTENDEE", "BEGIN",  "COMPLETED", "DESCRIPTION",  "DTEND",         "DTSTART", "DUE",    "DURATION",
    "END",      "EXDATE", "LOCATION",  "RDATE",        "RECURRENCE-ID", "RRULE",   "STATUS", "SUMMARY",
    "TRANSP",   "TZID",   "TZNAME",    "TZOFFSETFROM", "TZOFFSETTO",    "UID",     "URL"};
constexpr qsizetype longestName = 16;

bool isRead(QByteArrayView name) {
    // What some programs let a text begin with.
    name = name.startsWith("\xEF\xBB\xBF") ? name.sliced(3) : name;
    return std::ranges::any_of(
        read, [&](QByteArrayView each) { return name.compare(each, Qt::CaseInsensitive) == 0; });
}

}  // namespace

/// Gives how many bytes were taken.
qsizetype IcalTrim::takeName(QByteArrayView rest) {
    const auto end = std::find_if(rest.begin(), rest.end(),
                                  [](char c) { return c == ':' || c == ';' || c == '\r' || c == '\n'; });
    const qsizetype length = std::min<qsizetype>(end - rest.begin(), longestName + 1 - m_name.size());
    m_name += rest.first(length);
    const bool isOver = length < rest.size() || m_name.size() > longestName;
    if (isOver) {
        // A name that goes on in the next line, and an empty line, do no harm.
        const bool isOpen = length < rest.size() && (rest[length] == '\r' || rest[length] == '\n');
        m_isKept = isRead(m_name) || (isOpen && m_name.size() <= longestName);
        m_kept += m_isKept ? m_name : QByteArray();
        m_place = Place::line;
    }
    return length;
}

qsizetype IcalTrim::takeLine(QByteArrayView rest) {
    const qsizetype newline = rest.indexOf('\n');
    const qsizetype length = newline < 0 ? rest.size() : newline + 1;
    if (m_isKept && m_kept.size() + length <= mostKept) {
        m_kept += rest.first(length);
    } else if (m_isKept) {
        return -1;
    }
    m_place = newline < 0 ? Place::line : Place::lineStart;
    return length;
}

bool IcalTrim::take(QByteArrayView piece) {
    while (!piece.isEmpty()) {
        if (m_place == Place::lineStart) {
            // A line that begins with a blank goes on with the one before.
            m_place = piece[0] == ' ' || piece[0] == '\t' ? Place::line : Place::name;
            m_name.clear();
        }
        const qsizetype taken = m_place == Place::name ? takeName(piece) : takeLine(piece);
        if (taken < 0) {
            return false;
        }
        piece = piece.sliced(taken);
    }
    return true;
}

std::optional<QByteArray> IcalTrim::of(QByteArrayView bytes) {
    IcalTrim trim;
    return trim.take(bytes) ? std::optional(trim.kept()) : std::nullopt;
}

}  // namespace lumbro
