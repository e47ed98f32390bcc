#include "actions/formats/GuestList.h"

#include "LumbroCore/Literals.h"

#include <QHash>
#include <QRegularExpression>

namespace lumbro::guestList {

namespace {

bool isSeparator(QChar c) {
    return c == u',' || c == u';';
}

/// Finds where what is enclosed ends. An opening without its end is a character as any other, and parts no
/// fewer guests.
class Enclosed {
  public:
    explicit Enclosed(QStringView text) : m_text(text) {}

    /// The place of the character that ends what begins at `at`; `at` itself where nothing does.
    qsizetype end(qsizetype at) {
        switch (m_text[at].unicode()) {
            case u'"':
                return quoteEnd(at);
            case u'<':
                return addressEnd(at);
            case u'(':
                return bracketEnd(at);
            default:
                return at;
        }
    }

  private:
    /// A quote within a word is a sign for inches, or forgotten.
    bool mayOpen(qsizetype at) const {
        const QChar before = at == 0 ? u' ' : m_text[at - 1];
        return before.isSpace() || isSeparator(before) || before == u'(' || before == u'<' || before == u':';
    }

    bool opensWord(qsizetype at) const {
        return mayOpen(at) && at + 1 < m_text.size() && m_text[at + 1].isLetterOrNumber();
    }

    qsizetype quoteEnd(qsizetype at) const {
        bool isBehindAddress = false;
        for (qsizetype i = at + 1; i < m_text.size() && mayOpen(at); ++i) {
            const QChar c = m_text[i];
            if (c == u'"') {
                return opensWord(i) ? at : i;
            }
            if (isBehindAddress && isSeparator(c)) {
                return at;
            }
            isBehindAddress = c == u'>' || (isBehindAddress && c.isSpace());
            i += c == u'\\' ? 1 : 0;
        }
        return at;
    }

    qsizetype addressEnd(qsizetype at) const {
        bool hasAt = false;
        for (qsizetype i = at + 1; i < m_text.size(); ++i) {
            const QChar c = m_text[i];
            if (c == u'>') {
                return i;
            }
            if (c == u'<' || (hasAt && isSeparator(c))) {
                return at;
            }
            hasAt = hasAt || c == u'@';
            i += c == u'\\' ? 1 : 0;
        }
        return at;
    }

    /// Brackets hold others. All are paired at once, as looking for each one's end would take too long.
    qsizetype bracketEnd(qsizetype at) {
        if (!m_hasPairs) {
            m_hasPairs = true;
            QList<qsizetype> open;
            for (qsizetype i = 0; i < m_text.size(); ++i) {
                if (m_text[i] == u'\\') {
                    ++i;
                } else if (m_text[i] == u'(') {
                    open.append(i);
                } else if (m_text[i] == u')' && !open.isEmpty()) {
                    m_pairs.insert(open.takeLast(), i);
                }
            }
        }
        return m_pairs.value(at, at);
    }

    QStringView m_text;
    bool m_hasPairs = false;
    QHash<qsizetype, qsizetype> m_pairs;
};

/// The quoted name at a guest's beginning, without its quotes; nothing where there is none.
std::optional<QString> quotedName(const QString& guest) {
    if (!guest.startsWith(u'"')) {
        return std::nullopt;
    }
    static const QRegularExpression escape(u"\\\\(.)"_s);
    const qsizetype end = Enclosed(guest).end(0);
    return end == 0 ? std::nullopt : std::optional(guest.mid(1, end - 1).replace(escape, u"\\1"_s));
}

/// "Doe, Jane" is a name with the first one last.
QString withoutFamily(const QString& name) {
    const QString first = name.section(u',', 1, 1).trimmed();
    return first.isEmpty() ? name.section(u',', 0, 0).trimmed() : first;
}

}  // namespace

QStringList split(const QString& line) {
    QStringList guests;
    Enclosed enclosed(line);
    const qsizetype groupEnd = line.lastIndexOf(u';');
    qsizetype begin = 0;
    const auto endPiece = [&](qsizetype at) {
        if (const QString guest = line.mid(begin, at - begin).trimmed(); !guest.isEmpty()) {
            guests.append(guest);
        }
        begin = at + 1;
    };
    for (qsizetype at = 0; at < line.size(); ++at) {
        const QChar c = line[at];
        if (isSeparator(c)) {
            endPiece(at);
        } else if (c == u':' && at < groupEnd) {
            // What stands before it names a group of guests, which ends with a semicolon.
            begin = at + 1;
        } else {
            at = enclosed.end(at);
        }
    }
    endPiece(line.size());
    return guests;
}

QString firstName(const QString& guest) {
    static const QRegularExpression address(u"<[^<>]*(?:>|@[^<>]*$)"_s);
    const auto quoted = quotedName(guest);
    const QString name = quoted ? withoutFamily(*quoted) : QString(guest).remove(address).trimmed();
    return name.contains(u'@') ? QString() : name.section(u' ', 0, 0, QString::SectionSkipEmpty);
}

QString email(const QString& guest) {
    static const QRegularExpression whole(
        uR"(^[A-Za-z0-9.!#$%&'*+/=?^_`{|}~-]+@[A-Za-z0-9.-]+\.[A-Za-z]{2,}$)"_s);
    // A piece of an address is somebody else's.
    static const QRegularExpression form(
        uR"((?<![\p{L}\p{N}'])[A-Za-z0-9._%+-]+@[A-Za-z0-9.-]+\.[A-Za-z]{2,}(?![\p{L}\p{N}]))"_s);
    const qsizetype nameEnd = guest.startsWith(u'"') ? Enclosed(guest).end(0) : 0;
    // A name may look like an address.
    const QString behind = guest.mid(nameEnd);
    const qsizetype open = behind.lastIndexOf(u'<');
    const QString bare = behind.sliced(open + 1).section(u'>', 0, 0).trimmed();
    if (whole.match(bare).hasMatch()) {
        return bare;
    }
    const QString found = form.match(behind).captured();
    return found.isEmpty() ? form.match(guest).captured() : found;
}

}  // namespace lumbro::guestList
