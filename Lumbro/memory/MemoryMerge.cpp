#include "memory/MemoryMerge.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "memory/Bounded.h"
#include "memory/PageUpdate.h"
#include "memory/formats/EmailAddresses.h"
#include "memory/formats/IdeaItem.h"
#include "memory/formats/MemoryText.h"

#include <QSet>

#include <algorithm>
#include <utility>

namespace lumbro {

namespace {

using memoryText::oneLine;

// In characters.
constexpr qsizetype mostName = 200;
constexpr qsizetype mostPhrase = 300;
constexpr qsizetype mostText = 1000;

/// Text inside a line whose parts are separated by signs, without these signs.
QString withoutSigns(QString text) {
    // With a blank at the end, as one follows there in the line.
    for (text += u' '; text.contains(u" · "_s);) {
        text.replace(u" · "_s, u" • "_s);
    }
    return trimmedBlanks(text.replace(u'→', u"->"_s)).toString();
}

bool isNobody(const QString& name) {
    return name.isEmpty() || name.compare(u"me", Qt::CaseInsensitive) == 0 ||
           name.compare(u"them", Qt::CaseInsensitive) == 0;
}

const MemoryEntity* withName(const QList<MemoryEntity>& entities, const QString& name) {
    const auto found = std::ranges::find_if(
        entities, [&name](const MemoryEntity& entity) { return entity.name.toLower() == name.toLower(); });
    return found == entities.end() ? nullptr : &*found;
}

bool hasId(const QList<MemoryEntity>& entities, const QString& id) {
    return std::ranges::find(entities, id, &MemoryEntity::id) != entities.end();
}

}  // namespace

MemoryMerge::MemoryMerge(QString root, Known known, const CaptureRecord& record)
    : m_root(std::move(root)),
      m_known(known),
      m_day(dates::day(record.meta.startedAt)),
      m_link(WikiLink::capture(record)),
      m_addresses(emailAddresses::ofAttendees(record.meta)) {
    m_link.title = oneLine(m_link.title, mostPhrase);
    for (const MemoryEntity& person : known.people) {
        // The first one was met last.
        if (!m_slugs.contains(person.name.toLower())) {
            m_slugs.insert(person.name.toLower(), person.id);
        }
        m_names.insert(person.id, person.name);
    }
}

Result<> MemoryMerge::mergeEntities(const LibrarianOps& ops) {
    Result<> first;
    const auto merge = [&](Kind kind, const QList<Entity>& entities) {
        for (const Entity& entity : bounded(entities, mostEntities, MemoryEntity::folderName(kind))) {
            const Result<> done = upsert(kind, entity);
            if (!done) {
                AppLog::error(u"memory"_s, done.error().message);
                first = first ? done : first;
            }
        }
    };
    merge(Kind::person, ops.people);
    merge(Kind::project, ops.projects);
    return first;
}

std::optional<QString> MemoryMerge::slugFor(Kind kind, const QString& name,
                                            const std::optional<QString>& slug) const {
    const QList<MemoryEntity>& known = kind == Kind::person ? m_known.people : m_known.projects;
    if (slug && hasId(known, *slug)) {
        return slug;
    }
    if (kind == Kind::person) {
        if (const auto met = m_slugs.constFind(name.toLower()); met != m_slugs.constEnd()) {
            return *met;
        }
    } else if (const MemoryEntity* project = withName(known, name)) {
        return project->id;
    }
    const QString made = memoryText::fileSlug(name);
    return made.isEmpty() ? std::nullopt : std::optional(made);
}

Result<> MemoryMerge::upsert(Kind kind, const Entity& entity) {
    const QString name = oneLine(entity.name, mostName);
    if (isNobody(name)) {
        return {};
    }
    const auto slug = slugFor(kind, name, entity.slug);
    if (!slug) {
        return {};
    }
    const QString path = m_root + u'/' + MemoryEntity::folderName(kind) + u'/' + *slug + u".md"_s;
    const auto written = updatePage(path, [&](MarkdownDoc& page, bool isNew) {
        fill(page, kind, name, entity, isNew);
        return true;
    });
    if (!written) {
        return std::unexpected(written.error());
    }
    if (kind == Kind::person) {
        m_slugs.insert(name.toLower(), *slug);
    }
    return {};
}

void MemoryMerge::fill(MarkdownDoc& page, Kind kind, const QString& name, const Entity& entity,
                       bool isNew) const {
    page.setField(u"name"_s, name, true);
    if (kind == Kind::person) {
        page.setField(u"company"_s, oneLine(entity.company.value_or(QString()), mostName), true);
        page.setField(u"role"_s, oneLine(entity.role.value_or(QString()), mostName), true);
        const auto email = emailAddresses::forName(name, m_addresses);
        if (email && page.field(u"email").isEmpty()) {
            page.setField(u"email"_s, oneLine(*email, mostName));
        }
    } else {
        page.setField(u"status"_s, oneLine(entity.status.value_or(QString()), mostName));
    }
    page.setField(u"last_seen"_s, m_day);
    if (isNew || page.preamble().isEmpty()) {
        page.setPreamble({QString(), u"# "_s + name, QString()});
    }
    QSet<QString> facts;
    for (const QString& fact : page.bullets(u"About")) {
        facts.insert(fact.toLower());
    }
    for (const QString& about : bounded(entity.about, mostFacts, u"facts"_s)) {
        const QString fact = oneLine(about, mostText);
        if (!fact.isEmpty() && !facts.contains(fact.toLower())) {
            facts.insert(fact.toLower());
            page.appendBullet(fact, u"About"_s);
        }
    }
    const QString happened = oneLine(entity.timeline.value_or(QString()), mostText);
    const QStringList timeline = page.lines(u"Timeline").value_or(QStringList());
    const bool isTold =
        std::ranges::any_of(timeline, [this](const QString& line) { return line.contains(m_link.target); });
    if (!happened.isEmpty() && !isTold) {
        page.appendBullet(TimelineEntry::bullet(m_day, m_link, happened), u"Timeline"_s);
    }
}

QString MemoryMerge::personLink(const QString& name) const {
    const QString plain = oneLine(WikiLink::plain(name), mostName);
    const auto slug = m_slugs.constFind(plain.toLower());
    if (slug != m_slugs.constEnd()) {
        return WikiLink::person(*slug, m_names.value(*slug, plain)).text();
    }
    return plain.isEmpty() ? u"Them"_s : withoutSigns(plain);
}

QStringList MemoryMerge::promiseLines(const QList<LibrarianOps::Promise>& promises) const {
    QSet<QString> known;
    QSet<QString> ids;
    for (const PromiseItem& promise : m_known.promises) {
        known.insert(promise.text.toLower());
        ids.insert(promise.id);
    }
    QStringList lines;
    for (const LibrarianOps::Promise& promise : bounded(promises, mostLines, u"promises"_s)) {
        const QString text = withoutSigns(oneLine(promise.text, mostText));
        if (text.isEmpty() || known.contains(text.toLower())) {
            continue;
        }
        PromiseItem item;
        do {
            item.id = memoryText::anchor(u"p-");
        } while (ids.contains(item.id));
        ids.insert(item.id);
        item.text = text;
        item.owner = personLink(promise.owner);
        item.recipient = personLink(promise.to.value_or(QString()));
        item.due = withoutSigns(oneLine(promise.due.value_or(QString()), mostName));
        item.source = m_link;
        item.date = m_day;
        lines.append(item.line());
    }
    return lines;
}

std::optional<QString> ideaLine(const QString& hook, const QString& angle,
                                const std::optional<CaptureRecord>& source, const QString& today) {
    IdeaItem idea;
    idea.hook = oneLine(QString(hook).remove(u"**"_s), mostPhrase);
    if (idea.hook.isEmpty()) {
        return std::nullopt;
    }
    idea.id = memoryText::anchor(u"i-");
    idea.angle = oneLine(angle, mostText);
    idea.date = today;
    if (source) {
        idea.source = WikiLink::capture(*source);
        idea.source->title = oneLine(idea.source->title, mostPhrase);
        idea.date = dates::day(source->meta.startedAt);
    }
    return idea.line();
}

}  // namespace lumbro
