#include "memory/MemoryMerge.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "memory/PageUpdate.h"
#include "memory/formats/EmailAddresses.h"
#include "memory/formats/IdeaItem.h"
#include "memory/formats/MemoryText.h"

#include <QSet>

#include <algorithm>
#include <functional>
#include <utility>

namespace lumbro {

namespace {

using memoryText::oneLine;

// In characters.
constexpr qsizetype mostName = 200;
constexpr qsizetype mostPhrase = 300;
constexpr qsizetype mostText = 1000;

/// One line; what gets lost on the way is noted.
QString line(const QString& text, qsizetype most, ReplyChanges& changes) {
    if (memoryText::losesCharacters(text, most)) {
        changes.note(u"texts cut or rid of hidden characters"_s, text);
    }
    return oneLine(text, most);
}

/// Text inside a line whose parts are separated by signs, without these signs.
QString withoutSigns(const QString& plain, ReplyChanges& changes) {
    // With a blank at the end, as one follows there in the line.
    QString text = plain + u' ';
    while (text.contains(u" · "_s)) {
        text.replace(u" · "_s, u" • "_s);
    }
    text = WikiLink::withoutOpen(trimmedBlanks(text.replace(u'→', u"->"_s)).toString());
    if (text != plain) {
        changes.note(u"texts with signs of the line"_s, plain);
    }
    return text;
}

bool isNobody(const QString& name) {
    return name.isEmpty() || name.compare(u"me", Qt::CaseInsensitive) == 0 ||
           name.compare(u"them", Qt::CaseInsensitive) == 0;
}

const MemoryEntity* withName(const QList<MemoryEntity>& entities, const QString& name) {
    const auto found = std::ranges::find_if(entities, [&name](const MemoryEntity& entity) {
        return comparable(entity.name) == comparable(name);
    });
    return found == entities.end() ? nullptr : &*found;
}

QString nameOf(const LibrarianOps::Entity& entity) {
    return entity.name;
}

/// The page's id as its file has it, whose accents may be written in another way.
std::optional<QString> knownId(const QList<MemoryEntity>& entities, const QString& id) {
    const MemoryEntity* page = MemoryEntity::find(entities, id);
    return page == nullptr ? std::nullopt : std::optional(page->id);
}

}  // namespace

MemoryMerge::MemoryMerge(QString root, Known known, const CaptureRecord& record, ReplyChanges& changes)
    : m_root(std::move(root)),
      m_known(known),
      m_changes(changes),
      m_day(dates::day(record.meta.startedAt)),
      m_link(WikiLink::capture(record)),
      m_addresses(emailAddresses::ofAttendees(record.meta)) {
    m_link.title = oneLine(m_link.title, mostPhrase);
    for (const MemoryEntity& person : known.people) {
        // The first one was met last.
        if (!m_slugs.contains(comparable(person.name))) {
            m_slugs.insert(comparable(person.name), person.id);
        }
        m_names.insert(person.id, person.name);
    }
}

Result<> MemoryMerge::mergeEntities(const LibrarianOps& ops) {
    Result<> first;
    const auto merge = [&](Kind kind, const QList<Entity>& entities) {
        const auto taken =
            bounded(entities, mostEntities, MemoryEntity::folderName(kind), &nameOf, m_changes);
        for (const Entity& entity : taken) {
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
    if (const auto page = slug ? knownId(known, *slug) : std::nullopt) {
        return page;
    }
    if (kind == Kind::person) {
        if (const auto met = m_slugs.constFind(comparable(name)); met != m_slugs.constEnd()) {
            return *met;
        }
    } else if (const MemoryEntity* project = withName(known, name)) {
        return project->id;
    }
    const QString made = memoryText::fileSlug(name);
    return made.isEmpty() ? std::nullopt : std::optional(knownId(known, made).value_or(made));
}

MemoryMerge::Entity MemoryMerge::fitted(const Entity& entity) const {
    const auto text = [this](const std::optional<QString>& one, qsizetype most) {
        return line(one.value_or(QString()), most, m_changes);
    };
    Entity fit{.slug = entity.slug,
               .name = text(entity.name, mostName),
               .company = text(entity.company, mostName),
               .role = text(entity.role, mostName),
               .status = text(entity.status, mostName),
               .about = {},
               .timeline = text(entity.timeline, mostText)};
    for (const QString& about : bounded(entity.about, mostFacts, u"facts"_s, std::identity(), m_changes)) {
        fit.about.append(text(about, mostText));
    }
    return fit;
}

Result<> MemoryMerge::upsert(Kind kind, const Entity& proposed) {
    const Entity entity = fitted(proposed);
    const auto slug = isNobody(entity.name) ? std::nullopt : slugFor(kind, entity.name, entity.slug);
    if (!slug) {
        m_changes.note(u"entries without a name of their own"_s, proposed.name);
        return {};
    }
    if (!entity.slug.value_or(QString()).isEmpty() && comparable(*entity.slug) != comparable(*slug)) {
        m_changes.note(u"slugs of no page"_s, *entity.slug);
    }
    const QString path = m_root + u'/' + MemoryEntity::folderName(kind) + u'/' + *slug + u".md"_s;
    const auto written = updatePage(path, [&](MarkdownDoc& page, bool isNew) {
        fill(page, kind, entity, isNew);
        return true;
    });
    if (!written) {
        return std::unexpected(written.error());
    }
    if (*written) {
        (kind == Kind::person ? m_people : m_projects).insert(*slug);
    }
    if (kind == Kind::person) {
        m_slugs.insert(comparable(entity.name), *slug);
    }
    return {};
}

void MemoryMerge::replace(MarkdownDoc& page, const QString& key, const QString& value, const QString& name) {
    if (!page.setField(key, value)) {
        AppLog::info(u"memory"_s,
                     u"left %1 of %2 as it is: its value goes on below its line"_s.arg(key, name));
    }
}

void MemoryMerge::fill(MarkdownDoc& page, Kind kind, const Entity& entity, bool isNew) const {
    page.setField(u"name"_s, entity.name, true);
    if (kind == Kind::person) {
        page.setField(u"company"_s, entity.company.value_or(QString()), true);
        page.setField(u"role"_s, entity.role.value_or(QString()), true);
        const auto email = emailAddresses::forName(entity.name, m_addresses);
        if (email) {
            page.setField(u"email"_s, oneLine(*email, mostName), true);
        }
    } else {
        replace(page, u"status"_s, entity.status.value_or(QString()), entity.name);
    }
    replace(page, u"last_seen"_s, m_day, entity.name);
    if (isNew || page.preamble().isEmpty()) {
        page.setPreamble({QString(), u"# "_s + entity.name, QString()});
    }
    QSet<QString> facts;
    for (const QString& fact : page.bullets(u"About")) {
        facts.insert(comparable(fact));
    }
    for (const QString& fact : entity.about) {
        if (!fact.isEmpty() && !facts.contains(comparable(fact))) {
            facts.insert(comparable(fact));
            page.appendBullet(fact, u"About"_s);
        }
    }
    const QString happened = entity.timeline.value_or(QString());
    const QStringList timeline = page.lines(u"Timeline").value_or(QStringList());
    const bool isTold =
        std::ranges::any_of(timeline, [this](const QString& line) { return line.contains(m_link.target); });
    if (!happened.isEmpty() && !isTold) {
        page.appendBullet(TimelineEntry::bullet(m_day, m_link, happened), u"Timeline"_s);
    }
}

QString MemoryMerge::personLink(const QString& name) const {
    const QString plain = line(WikiLink::plain(name), mostName, m_changes);
    const auto slug = m_slugs.constFind(comparable(plain));
    if (slug != m_slugs.constEnd()) {
        return WikiLink::person(*slug, m_names.value(*slug, plain)).text();
    }
    return plain.isEmpty() ? u"Them"_s : withoutSigns(plain, m_changes);
}

QStringList MemoryMerge::promiseLines(const QList<LibrarianOps::Promise>& promises) const {
    QSet<QString> known;
    QSet<QString> ids;
    for (const PromiseItem& promise : m_known.promises) {
        known.insert(comparable(promise.text));
        ids.insert(promise.id);
    }
    QStringList lines;
    const auto textOf = [](const LibrarianOps::Promise& promise) { return promise.text; };
    for (const auto& promise : bounded(promises, mostLines, u"promises"_s, textOf, m_changes)) {
        const QString text = withoutSigns(line(promise.text, mostText, m_changes), m_changes);
        if (text.isEmpty()) {
            m_changes.note(u"promises without a text"_s, promise.text);
        }
        if (text.isEmpty() || known.contains(comparable(text))) {
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
        item.due = withoutSigns(line(promise.due.value_or(QString()), mostName, m_changes), m_changes);
        item.source = m_link;
        item.date = m_day;
        lines.append(item.line());
    }
    return lines;
}

std::optional<QString> ideaLine(const NewIdea& item, const QString& today, ReplyChanges& changes) {
    IdeaItem idea;
    idea.hook = line(QString(item.hook).remove(u"**"_s), mostPhrase, changes);
    if (idea.hook.isEmpty()) {
        changes.note(u"ideas without a hook"_s, item.angle);
        return std::nullopt;
    }
    idea.id = memoryText::anchor(u"i-");
    idea.angle = line(item.angle, mostText, changes);
    idea.date = today;
    if (item.source) {
        idea.source = WikiLink::capture(*item.source);
        idea.source->title = oneLine(idea.source->title, mostPhrase);
        idea.date = dates::day(item.source->meta.startedAt);
    }
    return idea.line();
}

}  // namespace lumbro
