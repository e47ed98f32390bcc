#pragma once

#include "library/LinkFence.h"
#include "library/SummaryCache.h"
#include "memory/MemoryFault.h"
#include "memory/formats/MemoryEntity.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace lumbro {

/// The pages of people, or of projects. Remembers what it has read, so that only pages that changed since are
/// read again.
class PageFolder {
  public:
    PageFolder(MemoryEntity::Kind kind, QString path, ReadGuard mayRead = {});

    const QString& path() const { return m_path; }
    QString page(const QString& slug) const { return m_path + u'/' + slug + QStringLiteral(".md"); }

    /// Looks at the files' metadata only. True when they are not what was read last.
    bool hasChanged() const;
    /// False when a file may have changed since without its metadata telling.
    bool isSettled() const { return !m_isUnsettled; }
    /// Reads the pages that are not what was read last. True when `entities` are others now.
    bool read();
    /// The pages as they were read last, in the order of lists. A file that is no UTF-8 text is left out.
    const QList<MemoryEntity>& entities() const { return m_entities; }
    /// Names of the files that the last `read` was the first to find unreadable.
    const QStringList& unreadable() const { return m_unreadable; }
    /// Every file that the last `read` left out, and the folder itself when that cannot be read.
    const QList<MemoryFault>& faults() const { return m_faults; }

  private:
    struct Entry {
        QByteArray name;
        FileStamp stamp;

        bool operator==(const Entry&) const = default;
    };
    struct Page {
        FileStamp stamp;
        /// Nothing for a file that cannot be read.
        std::optional<MemoryEntity> entity;
        MemoryFault::Kind fault = MemoryFault::Kind::unreadable;
        bool isSettled = false;
    };

    std::vector<Entry> list() const;
    Page readPage(int folder, const Entry& entry) const;
    void note(const Entry& entry, const Page& page, bool isFresh);
    bool forgetOthers();

    MemoryEntity::Kind m_kind;
    QString m_path;
    ReadGuard m_mayRead;
    std::vector<Entry> m_files;
    QList<MemoryEntity> m_entities;
    QHash<QByteArray, Page> m_pages;
    QStringList m_unreadable;
    QList<MemoryFault> m_faults;
    /// Some page may change once more without its stamp telling.
    bool m_isUnsettled = true;
};

/// True when a file with this stamp cannot change any more without getting another one. Now.
bool hasSettled(const FileStamp& stamp);

}  // namespace lumbro
