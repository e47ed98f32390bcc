#pragma once

#include "memory/formats/WikiLink.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace lumbro {

/// One line of a page's timeline.
struct TimelineEntry {
    /// "yyyy-MM-dd", or empty.
    QString date;
    std::optional<WikiLink> source;
    /// Without links: each is replaced by its title.
    QString text;

    bool operator==(const TimelineEntry&) const = default;

    /// Reads a bullet "<day> · [[<target>|<title>]] — <text>"; whatever does not fit is text.
    static TimelineEntry parse(const QString& bullet);
    /// The bullet as it is written.
    static QString bullet(const QString& day, const WikiLink& link, const QString& text);
};

/// The page of a person or a project.
struct MemoryEntity {
    enum class Kind { person, project };

    Kind kind = Kind::person;
    /// The slug: the file's name without ".md".
    QString id;
    QString name;
    /// One line for people: role and company, or the project's status.
    QString subtitle;
    /// "yyyy-MM-dd", or empty.
    QString lastSeen;
    /// Lasting facts.
    QStringList about;
    QList<TimelineEntry> timeline;
    /// The file's absolute path.
    QString url;
    // Of people only.
    QString role;
    QString company;
    /// In lower case; those from the field stand first.
    QStringList emails;

    bool operator==(const MemoryEntity&) const = default;

    /// Reads a page. Any text is one.
    static MemoryEntity parse(Kind kind, const QString& id, const QString& url, const QString& text);
    /// The page with an id, in whatever way the accents of its file's name are written; null for none.
    static const MemoryEntity* find(const QList<MemoryEntity>& entities, const QString& id);
    /// The order of lists: seen last first, then names from Z to A.
    static bool standsBefore(const MemoryEntity& one, const MemoryEntity& other);
    /// "people" or "projects".
    static QString folderName(Kind kind);
};

}  // namespace lumbro
