#include "platform/linux/desktop/IcalText.h"

#include "platform/linux/desktop/IcalTime.h"

#include <algorithm>

namespace lumbro {

namespace {

constexpr int mostDepth = 8;
constexpr int mostComponents = 20'000;
constexpr int mostLines = 200'000;
constexpr int mostRules = 10'000;

bool begins(QByteArrayView line, QByteArrayView word) {
    return line.size() >= word.size() && qstrnicmp(line.data(), word.size(), word.data(), word.size()) == 0;
}

/// A rule, or a name that may become one in the next line.
bool mayBeRule(QByteArrayView line) {
    return begins(line, "RRULE") || begins(line, "EXRULE") ||
           (line.size() < 6 && !line.isEmpty() && !line.contains(':') && !line.contains(';'));
}

}  // namespace

bool IcalText::isBounded(const QByteArray& bytes) {
    constexpr qsizetype mostTold = 7;
    int depth = 0;
    int components = 0;
    int lines = 0;
    int rules = 0;
    for (qsizetype at = 0; at < bytes.size();) {
        const qsizetype newline = bytes.indexOf('\n', at);
        const qsizetype end = newline < 0 ? bytes.size() : newline;
        const QByteArrayView line = QByteArrayView(bytes).sliced(at, std::min(end - at, mostTold)).trimmed();
        if (begins(line, "BEGIN")) {
            ++components;
            ++depth;
        } else if (begins(line, "END:")) {
            depth = std::max(depth - 1, 0);
        } else if (mayBeRule(line)) {
            ++rules;
        }
        if (depth > mostDepth || components > mostComponents || ++lines > mostLines || rules > mostRules) {
            return false;
        }
        at = end + 1;
    }
    return true;
}

bool IcalText::isWhole(QByteArrayView bytes) {
    constexpr QByteArrayView end = "END:VCALENDAR";
    const QByteArrayView text = bytes.trimmed();
    return text.size() >= end.size() &&
           qstrnicmp(text.last(end.size()).data(), end.size(), end.data(), end.size()) == 0;
}

QByteArray IcalText::withoutKnownZones(const QByteArray& bytes) {
    constexpr QByteArrayView begin = "\nBEGIN:VTIMEZONE";
    constexpr QByteArrayView end = "\nEND:VTIMEZONE";
    constexpr QByteArrayView name = "\nTZID:";
    QByteArray rest;
    qsizetype taken = 0;
    for (qsizetype at = bytes.indexOf(begin); at >= 0; at = bytes.indexOf(begin, at + 1)) {
        const qsizetype over = bytes.indexOf(end, at);
        const qsizetype id = bytes.indexOf(name, at);
        if (over < 0 || id < 0 || id > over) {
            break;
        }
        const qsizetype idEnd = bytes.indexOf('\n', id + 1);
        const QByteArray zone = bytes.mid(id + name.size(), idEnd - id - name.size()).trimmed();
        if (systemZone(zone).isValid()) {
            rest += bytes.mid(taken, at - taken);
            taken = over + end.size();
            at = over;
        }
    }
    return taken == 0 ? bytes : rest + bytes.mid(taken);
}

QByteArray IcalText::completePart(const QByteArray& bytes) {
    const qsizetype item = std::max(bytes.lastIndexOf("\nEND:VEVENT"), bytes.lastIndexOf("\nEND:VTODO"));
    const qsizetype end = item < 0 ? -1 : bytes.indexOf('\n', item + 1);
    return end < 0 ? QByteArray() : bytes.first(end) + "\nEND:VCALENDAR\n";
}

}  // namespace lumbro
