#include "memory/formats/MemoryEntity.h"

#include "LumbroCore/Literals.h"
#include "memory/formats/EmailAddresses.h"
#include "memory/formats/MarkdownDoc.h"
#include "memory/formats/PromiseDates.h"

#include <algorithm>
#include <tuple>

namespace lumbro {

namespace {

constexpr qsizetype daySize = 10;
constexpr QStringView dash = u" — ";

/// The length of "<ten characters like a day> · " at the text's begin, or 0.
qsizetype dayMarkSize(QStringView text) {
    constexpr QStringView form = u"0000-00-00";
    qsizetype at = 0;
    for (; at < daySize; ++at) {
        if (at >= text.size() || (form[at] == u'0' ? text[at] < u'0' || text[at] > u'9' : text[at] != u'-')) {
            return 0;
        }
    }
    const auto skipBlanks = [&] {
        while (at < text.size() && text[at].isSpace()) {
            ++at;
        }
    };
    skipBlanks();
    if (at >= text.size() || text[at] != u'·') {
        return 0;
    }
    ++at;
    skipBlanks();
    return at;
}

}  // namespace

TimelineEntry TimelineEntry::parse(const QString& bullet) {
    TimelineEntry entry;
    const qsizetype mark = dayMarkSize(bullet);
    if (mark > 0) {
        entry.date = bullet.first(daySize);
    }
    const QStringView rest = QStringView(bullet).sliced(mark);
    entry.source = WikiLink::first(rest);
    // A title may hold the dash as well.
    const qsizetype before = WikiLink::split(rest, dash).first().size();
    entry.text = WikiLink::plain(before == rest.size() ? rest : rest.sliced(before + dash.size()));
    return entry;
}

QString TimelineEntry::bullet(const QString& day, const WikiLink& link, const QString& text) {
    return day + u" · "_s + link.text() + u" — "_s + text;
}

QString MemoryEntity::folderName(Kind kind) {
    return kind == Kind::person ? u"people"_s : u"projects"_s;
}

MemoryEntity MemoryEntity::parse(Kind kind, const QString& id, const QString& url, const QString& text) {
    const MarkdownDoc page = MarkdownDoc::parse(text);
    MemoryEntity entity;
    entity.kind = kind;
    entity.id = id;
    entity.url = url;
    entity.name = page.field(u"name");
    if (entity.name.isEmpty()) {
        entity.name = id;
    }
    entity.lastSeen = page.field(u"last_seen");
    entity.about = page.bullets(u"About");
    for (const QString& bullet : page.bullets(u"Timeline")) {
        entity.timeline.append(TimelineEntry::parse(bullet));
    }
    if (kind == Kind::project) {
        entity.subtitle = page.field(u"status");
        return entity;
    }
    entity.role = page.field(u"role");
    entity.company = page.field(u"company");
    entity.emails = emailAddresses::find(page.field(u"email"), text);
    QStringList facts{entity.role, entity.company};
    facts.removeAll(QString());
    entity.subtitle = facts.join(u" · "_s);
    return entity;
}

const MemoryEntity* MemoryEntity::find(const QList<MemoryEntity>& entities, const QString& id) {
    auto found = std::ranges::find(entities, id, &MemoryEntity::id);
    if (found == entities.end()) {
        const QString wanted = id.normalized(QString::NormalizationForm_C);
        found = std::ranges::find(entities, wanted, [](const MemoryEntity& entity) {
            return entity.id.normalized(QString::NormalizationForm_C);
        });
    }
    return found == entities.end() ? nullptr : &*found;
}

bool MemoryEntity::standsBefore(const MemoryEntity& one, const MemoryEntity& other) {
    return std::tie(one.lastSeen, one.name, one.id) > std::tie(other.lastSeen, other.name, other.id);
}

}  // namespace lumbro
