#include "memory/formats/EmailAddresses.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"

#include <QSet>

#include <algorithm>
#include <array>

namespace lumbro::emailAddresses {

namespace {

bool isLetter(QChar c) {
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

bool isHostCharacter(QChar c) {
    return isLetter(c) || (c >= u'0' && c <= u'9') || c == u'.' || c == u'-';
}

bool isLocalCharacter(QChar c) {
    return isHostCharacter(c) || c == u'_' || c == u'%' || c == u'+';
}

/// The end of the longest host name at `begin` that ends in a dot and two letters or more; -1 for none.
qsizetype hostEnd(QStringView text, qsizetype begin) {
    qsizetype end = begin;
    while (end < text.size() && isHostCharacter(text[end])) {
        ++end;
    }
    for (qsizetype dot = end - 1; dot > begin; --dot) {
        if (text[dot] != u'.') {
            continue;
        }
        qsizetype last = dot + 1;
        while (last < end && isLetter(text[last])) {
            ++last;
        }
        if (last - dot > 2) {
            return last;
        }
    }
    return -1;
}

void addAddresses(QStringView text, QStringList& found, QSet<QString>& seen) {
    qsizetype from = 0;
    qsizetype at = 0;
    while ((at = text.indexOf(u'@', at)) >= 0) {
        qsizetype begin = at;
        while (begin > from && isLocalCharacter(text[begin - 1])) {
            --begin;
        }
        const qsizetype end = begin == at ? -1 : hostEnd(text, at + 1);
        from = ++at;
        if (end < 0) {
            continue;
        }
        from = at = end;
        const QString address = text.sliced(begin, end - begin).toString().toLower();
        if (!seen.contains(address)) {
            seen.insert(address);
            found.append(address);
        }
    }
}

QString firstWord(const QString& text) {
    return text.section(u' ', 0, 0, QString::SectionSkipEmpty);
}

/// "dana" of "dana.kim@acme.com"
QString firstOfLocalPart(const QString& address) {
    const QString local = address.section(u'@', 0, 0);
    const auto end = std::ranges::find_if(local, [](QChar c) { return c == u'.' || c == u'-' || c == u'_'; });
    return local.first(end - local.begin());
}

/// One is the other without its last words.
bool isSamePerson(const QString& name, const QString& other) {
    const QString& longer = name.size() < other.size() ? other : name;
    const QString& shorter = name.size() < other.size() ? name : other;
    return longer.startsWith(QString(shorter + u' '));
}

}  // namespace

QStringList find(QStringView field, QStringView text) {
    QStringList found;
    QSet<QString> seen;
    addAddresses(field, found, seen);
    addAddresses(text, found, seen);
    return found;
}

QMap<QString, QString> ofAttendees(const CaptureMeta& meta) {
    const QStringList names = meta.attendees.value_or(QStringList());
    const QStringList addresses = meta.attendeeEmails.value_or(QStringList());
    QMap<QString, QString> map;
    for (qsizetype i = 0; names.size() == addresses.size() && i < names.size(); ++i) {
        if (!names[i].contains(u'@') && !addresses[i].isEmpty()) {
            map.insert(comparable(names[i]), addresses[i].toLower());
        }
    }
    for (const QString& address : addresses) {
        if (!address.isEmpty()) {
            map.insert(address.toLower(), address.toLower());
        }
    }
    return map;
}

std::optional<QString> forName(const QString& name, const QMap<QString, QString>& addresses) {
    const QString lower = comparable(name);
    if (const auto known = addresses.find(lower); known != addresses.end()) {
        return *known;
    }
    const QString first = firstWord(lower);
    if (first.size() < 2) {
        return std::nullopt;
    }
    QSet<QString> byAddress;
    QSet<QString> byName;
    for (const auto& [key, address] : addresses.asKeyValueRange()) {
        if (firstOfLocalPart(address) == first) {
            byAddress.insert(address);
        }
        if (!key.contains(u'@') && isSamePerson(lower, key)) {
            byName.insert(address);
        }
    }
    const QSet<QString>& fitting = byAddress.isEmpty() ? byName : byAddress;
    return fitting.size() == 1 ? std::optional(*fitting.begin()) : std::nullopt;
}

QString registrable(const QString& host) {
    static const QSet<QString> secondLevel{u"co"_s,  u"com"_s, u"org"_s, u"net"_s, u"ac"_s,
                                           u"gov"_s, u"edu"_s, u"ne"_s,  u"or"_s};
    const QString lower = host.toLower();
    const QStringList parts = lower.split(u'.', Qt::SkipEmptyParts);
    const qsizetype count = parts.size();
    if (count < 2) {
        return lower;
    }
    const bool isNational = count > 2 && parts.last().size() == 2 && secondLevel.contains(parts[count - 2]);
    return parts.sliced(count - (isNational ? 3 : 2)).join(u'.');
}

QString label(const QString& domain) {
    return domain.section(u'.', 0, 0);
}

std::optional<QString> ownDomain(const QString& ownEmail) {
    const QStringView address = trimmedBlanks(ownEmail);
    if (address.isEmpty()) {
        return std::nullopt;
    }
    return registrable(address.sliced(address.lastIndexOf(u'@') + 1).toString());
}

std::optional<QString> companyDomain(const QString& email, const std::optional<QString>& ownDomain) {
    static const QSet<QString> freeMailLabels{
        u"gmail"_s,  u"googlemail"_s, u"outlook"_s, u"hotmail"_s, u"live"_s,  u"msn"_s,
        u"icloud"_s, u"me"_s,         u"mac"_s,     u"yahoo"_s,   u"ymail"_s, u"aol"_s,
        u"proton"_s, u"protonmail"_s, u"pm"_s,      u"gmx"_s,     u"mail"_s};
    const QStringView address = trimmedOf(email, u" <>\"'\t");
    const qsizetype at = address.indexOf(u'@');
    if (at < 0) {
        return std::nullopt;
    }
    const QStringView local = address.first(at);
    const QString domain = address.sliced(at + 1).toString().toLower();
    const bool isAutomatic = domain.contains(u"calendar.google.com"_s) ||
                             local.startsWith(u"noreply", Qt::CaseInsensitive) ||
                             local.startsWith(u"no-reply", Qt::CaseInsensitive);
    if (!domain.contains(u'.') || isAutomatic) {
        return std::nullopt;
    }
    const QString company = registrable(domain);
    if (freeMailLabels.contains(label(company)) || company == ownDomain) {
        return std::nullopt;
    }
    return company;
}

}  // namespace lumbro::emailAddresses
