#include "memory/formats/WikiLink.h"

#include "LumbroCore/Literals.h"

namespace lumbro {

namespace {

constexpr QStringView capturesFolder = u"captures/";
constexpr QStringView peopleFolder = u"people/";

/// The next of some characters at or behind a place, remembered so that a text is walked only once.
template <typename Matches>
class NextOf {
  public:
    NextOf(QStringView text, Matches matches) : m_text(text), m_matches(matches) {}

    /// The text's length when there is none. Places must not go back.
    qsizetype from(qsizetype at) {
        if (m_place < at) {
            m_place = at;
        }
        while (m_place < m_text.size() && !m_matches(m_text[m_place])) {
            ++m_place;
        }
        return m_place;
    }

  private:
    QStringView m_text;
    Matches m_matches;
    qsizetype m_place = 0;
};

bool closesAt(QStringView text, qsizetype at) {
    return at + 1 < text.size() && text[at] == u']' && text[at + 1] == u']';
}

}  // namespace

QList<WikiLink::Place> WikiLink::places(QStringView text) {
    QList<Place> found;
    NextOf targetEnd(text, [](QChar c) { return c == u']' || c == u'|'; });
    NextOf titleEnd(text, [](QChar c) { return c == u']'; });
    qsizetype at = 0;
    while ((at = text.indexOf(u"[[", at)) >= 0) {
        const qsizetype target = at + 2;
        const qsizetype bar = targetEnd.from(target);
        if (bar >= text.size()) {
            break;
        }
        const bool hasTitle = text[bar] == u'|';
        const qsizetype end = hasTitle ? titleEnd.from(bar + 1) : bar;
        const bool isEmpty = bar == target || (hasTitle && end == bar + 1);
        if (isEmpty || !closesAt(text, end)) {
            ++at;
            continue;
        }
        const QStringView targetText = text.sliced(target, bar - target);
        found.append({.begin = at,
                      .end = end + 2,
                      .target = targetText,
                      .title = hasTitle ? text.sliced(bar + 1, end - bar - 1) : targetText});
        at = end + 2;
    }
    return found;
}

QList<WikiLink> WikiLink::all(QStringView text) {
    QList<WikiLink> links;
    for (const Place& place : places(text)) {
        links.append(place.link());
    }
    return links;
}

std::optional<WikiLink> WikiLink::first(QStringView text) {
    const QList<Place> found = places(text);
    return found.isEmpty() ? std::nullopt : std::optional(found.first().link());
}

QString WikiLink::plain(QStringView text) {
    QString plain;
    qsizetype from = 0;
    for (const Place& place : places(text)) {
        plain += text.sliced(from, place.begin - from);
        plain += place.title;
        from = place.end;
    }
    return plain += text.sliced(from);
}

QString WikiLink::withoutOpen(const QString& text) {
    QString safe;
    qsizetype from = 0;
    const auto addPlain = [&](qsizetype end) {
        safe += text.sliced(from, end - from).replace(u"[["_s, u"(("_s);
    };
    for (const Place& place : places(text)) {
        addPlain(place.begin);
        safe += QStringView(text).sliced(place.begin, place.end - place.begin);
        from = place.end;
    }
    addPlain(text.size());
    return safe;
}

QList<QStringView> WikiLink::split(QStringView text, QStringView separator) {
    const QList<Place> links = places(text);
    QList<QStringView> pieces;
    qsizetype from = 0;
    qsizetype at = 0;
    auto link = links.begin();
    while ((at = text.indexOf(separator, at)) >= 0) {
        while (link != links.end() && link->end <= at) {
            ++link;
        }
        if (link != links.end() && link->begin <= at) {
            at = link->end;
            continue;
        }
        pieces.append(text.sliced(from, at - from));
        from = at += separator.size();
    }
    pieces.append(text.sliced(from));
    return pieces;
}

WikiLink WikiLink::capture(const CaptureRecord& record) {
    const QString file = record.meta.kind == CaptureKind::session ? u"/session"_s : u"/transcript"_s;
    return {u"captures/"_s + record.id() + file, record.meta.title};
}

WikiLink WikiLink::person(const QString& slug, const QString& name) {
    return {u"people/"_s + slug, name};
}

QString WikiLink::text() const {
    QString safe = title;
    safe.replace(u'[', u'(').replace(u']', u')');
    return safe.isEmpty() ? u"[["_s + target + u"]]"_s : u"[["_s + target + u'|' + safe + u"]]"_s;
}

std::optional<QString> WikiLink::captureID() const {
    if (!target.startsWith(capturesFolder)) {
        return std::nullopt;
    }
    return target.section(u'/', 1, 1);
}

std::optional<QString> WikiLink::personSlug() const {
    if (!target.startsWith(peopleFolder)) {
        return std::nullopt;
    }
    return target.sliced(peopleFolder.size());
}

}  // namespace lumbro
