#pragma once

#include "LumbroCore/Failure.h"
#include "library/formats/CaptureMeta.h"
#include "memory/NewIdea.h"
#include "memory/ReplyChanges.h"
#include "memory/formats/LibrarianOps.h"
#include "memory/formats/MarkdownDoc.h"
#include "memory/formats/MemoryEntity.h"
#include "memory/formats/PromiseItem.h"
#include "memory/formats/WikiLink.h"

#include <QHash>
#include <QList>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>

#include <optional>

namespace lumbro {

/// Merges what a model proposed after reading one capture into the pages, and makes the lines for the lists.
/// The model is not trusted: names become file names by `fileSlug` only, every text becomes one line, and all
/// is bounded. For one pass; the caller has the lock of the memory's folder.
class MemoryMerge {
  public:
    /// What was known before the pass.
    struct Known {
        const QList<MemoryEntity>& people;
        const QList<MemoryEntity>& projects;
        const QList<PromiseItem>& promises;
    };
    /// Nothing of a list beyond this many is taken.
    static constexpr qsizetype mostEntities = 200;
    static constexpr qsizetype mostLines = 500;
    static constexpr qsizetype mostFacts = 20;

    /// `root` is the memory's folder. What is not taken as it stands is noted in `changes`.
    MemoryMerge(QString root, Known known, const CaptureRecord& record, ReplyChanges& changes);

    /// Writes the pages of people, then of projects. A failure is logged and leaves that page as it was; the
    /// first one is given back.
    Result<> mergeEntities(const LibrarianOps& ops);
    /// How many pages of people, and of projects, were made or changed.
    qsizetype people() const { return m_people.size(); }
    qsizetype projects() const { return m_projects.size(); }
    /// The lines of new promises; call after `mergeEntities`, so that they link to people just met. Those
    /// that are known already are left out.
    QStringList promiseLines(const QList<LibrarianOps::Promise>& promises) const;

  private:
    using Entity = LibrarianOps::Entity;
    using Kind = MemoryEntity::Kind;

    std::optional<QString> slugFor(Kind kind, const QString& name, const std::optional<QString>& slug) const;
    Entity fitted(const Entity& entity) const;
    Result<> upsert(Kind kind, const Entity& proposed);
    static void replace(MarkdownDoc& page, const QString& key, const QString& value, const QString& name);
    void fill(MarkdownDoc& page, Kind kind, const Entity& entity, bool isNew) const;
    QString personLink(const QString& name) const;

    QString m_root;
    Known m_known;
    ReplyChanges& m_changes;
    QString m_day;
    WikiLink m_link;
    QMap<QString, QString> m_addresses;
    /// Names, as `comparable`, to slugs, people written in this pass included.
    QHash<QString, QString> m_slugs;
    QHash<QString, QString> m_names;
    /// The slugs of what was written.
    QSet<QString> m_people;
    QSet<QString> m_projects;
};

/// One idea's line, made fit for the file; nothing without a hook.
std::optional<QString> ideaLine(const NewIdea& item, const QString& today, ReplyChanges& changes);

}  // namespace lumbro
