#include "memory/formats/MemoryIndex.h"

#include "LumbroCore/Literals.h"

#include <QStringList>

#include <algorithm>

namespace lumbro {

namespace {

QString withSubtitle(const MemoryEntity& entity) {
    QString line = u"- "_s + entity.id + u": "_s + entity.name;
    if (!entity.subtitle.isEmpty()) {
        line += u" ("_s + entity.subtitle + u')';
    }
    return line;
}

void addPeople(QStringList& lines, const QList<MemoryEntity>& people) {
    lines.append(u"## PEOPLE"_s);
    for (const MemoryEntity& person : people) {
        const QString about = person.about.first(std::min<qsizetype>(2, person.about.size())).join(u"; "_s);
        lines.append(withSubtitle(person) + (about.isEmpty() ? QString() : u" — "_s + about));
    }
    if (people.isEmpty()) {
        lines.append(u"(none yet)"_s);
    }
}

void addProjects(QStringList& lines, const QList<MemoryEntity>& projects) {
    lines.append(u"## PROJECTS"_s);
    for (const MemoryEntity& project : projects) {
        lines.append(withSubtitle(project));
    }
    if (projects.isEmpty()) {
        lines.append(u"(none yet)"_s);
    }
}

void addCompanies(QStringList& lines, const QList<Company>& companies) {
    if (companies.isEmpty()) {
        return;
    }
    lines.append(u"## COMPANIES"_s);
    for (const Company& company : companies) {
        QString line = u"- "_s + company.domain + u": "_s + company.name;
        if (!company.personSlugs.isEmpty()) {
            line += u" ("_s + company.personSlugs.join(u", "_s) + u')';
        }
        lines.append(line);
    }
}

void addPromises(QStringList& lines, const QList<PromiseItem>& promises) {
    lines.append(u"## OPEN PROMISES"_s);
    const qsizetype before = lines.size();
    for (const PromiseItem& promise : promises) {
        if (!promise.done) {
            lines.append(u"- "_s + promise.id + u": "_s + WikiLink::plain(promise.owner) + u" → "_s +
                         WikiLink::plain(promise.recipient) + u": "_s + promise.text);
        }
    }
    if (lines.size() == before) {
        lines.append(u"(none)"_s);
    }
}

}  // namespace

QString memoryIndex(const QList<MemoryEntity>& people, const QList<MemoryEntity>& projects,
                    const QList<Company>& companies, const QList<PromiseItem>& promises) {
    QStringList lines;
    addPeople(lines, people);
    addProjects(lines, projects);
    addCompanies(lines, companies);
    addPromises(lines, promises);
    return lines.join(u'\n');
}

}  // namespace lumbro
