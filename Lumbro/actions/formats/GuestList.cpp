#include "actions/formats/GuestList.h"

#include "LumbroCore/Literals.h"

#include <QRegularExpression>

namespace lumbro::guestList {

namespace {

QChar closing(QChar opening) {
    switch (opening.unicode()) {
        case u'"':
            return u'"';
        case u'<':
            return u'>';
        case u'(':
            return u')';
        default:
            return {};
    }
}

/// Finds where what is enclosed ends.
class Enclosed {
  public:
    explicit Enclosed(QStringView text) : m_text(text) {}

    /// The place of the character that ends what begins at `at`; `at` itself where nothing does, or it has
    /// no end and is a character as any other.
    qsizetype end(qsizetype at) {
        const QChar end = closing(m_text[at]);
        if (end.isNull() || m_endless.contains(end)) {
            return at;
        }
        for (qsizetype i = at + 1; i < m_text.size(); ++i) {
            if (m_text[i] == u'\\') {
                ++i;
            } else if (m_text[i] == end) {
                return i;
            }
        }
        // Further on there is none either, and looking again for each would take too long.
        m_endless += end;
        return at;
    }

  private:
    QStringView m_text;
    QString m_endless;
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
        if (c == u',' || c == u';') {
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
    static const QRegularExpression address(u"<[^>]*>"_s);
    const auto quoted = quotedName(guest);
    const QString name = quoted ? withoutFamily(*quoted) : QString(guest).remove(address).trimmed();
    return name.contains(u'@') ? QString() : name.section(u' ', 0, 0, QString::SectionSkipEmpty);
}

QString email(const QString& guest) {
    static const QRegularExpression form(u"[A-Za-z0-9._%+-]+@[A-Za-z0-9.-]+\\.[A-Za-z]{2,}"_s);
    const qsizetype nameEnd = guest.startsWith(u'"') ? Enclosed(guest).end(0) : 0;
    // A name may look like an address.
    const QString behind = form.match(guest.mid(nameEnd)).captured();
    return behind.isEmpty() ? form.match(guest).captured() : behind;
}

}  // namespace lumbro::guestList
