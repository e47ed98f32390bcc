#include "memory/MemoryWriter.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/LockedUpdate.h"
#include "LumbroCore/Text.h"
#include "memory/PageUpdate.h"
#include "memory/formats/MarkdownDoc.h"
#include "memory/formats/MemoryLists.h"
#include "memory/formats/MemoryText.h"
#include "memory/formats/PromiseDates.h"

#include <QDateTime>
#include <QDir>
#include <QSet>

#include <algorithm>
#include <functional>
#include <utility>

namespace lumbro {

namespace {

using Kind = MemoryEntity::Kind;

constexpr qsizetype mostName = 200;
/// An unfinished write of this age belongs to no process that still works on it.
constexpr qint64 staleSeconds = 60;

template <typename T>
Result<T> logged(Result<T> result) {
    if (!result) {
        AppLog::error(u"memory"_s, result.error().message);
    }
    return result;
}

/// The lines without ideas that the file has already from the same capture.
QStringList newIdeaLines(const QByteArray& file, QStringList lines) {
    const QList<IdeaItem> known = memoryLists::ideas(file);
    lines.removeIf([&known](const QString& line) {
        const auto idea = IdeaItem::parse(line);
        return idea && idea->source && std::ranges::any_of(known, [&idea](const IdeaItem& one) {
                   return one.source && one.source->target == idea->source->target &&
                          comparable(one.hook) == comparable(idea->hook);
               });
    });
    return lines;
}

void makeList(const QString& path, const QByteArray& text) {
    const auto made = logged(updateFile(path, [&text](const std::optional<QByteArray>& bytes) {
        return bytes ? std::nullopt : std::optional(text);
    }));
    Q_UNUSED(made);
}

}  // namespace

MemoryWriter::MemoryWriter(QString root) : m_root(std::move(root)) {}

void MemoryWriter::start() const {
    makeList(promisesFile(), memoryLists::newPromises());
    makeList(ideasFile(), memoryLists::newIdeas());
    // File dates are the machine's, whatever clock the application runs on.
    const QDateTime olderThan = QDateTime::currentDateTime().addSecs(-staleSeconds);
    for (const QString& path : {m_root, folder(Kind::person), folder(Kind::project)}) {
        for (const QString& name : removeUnfinishedUpdates(path, olderThan)) {
            AppLog::info(u"memory"_s, u"removed unfinished file "_s + name);
        }
    }
}

Result<MemoryPass> MemoryWriter::apply(MemoryMerge::Known known, const LibrarianOps& ops,
                                       const CaptureRecord& record, QDate today,
                                       ReplyChanges& changes) const {
    MemoryMerge merge(m_root, known, record, changes);
    Result<> outcome = merge.mergeEntities(ops);
    MemoryPass pass{
        .captureID = record.id(), .updated = true, .people = merge.people(), .projects = merge.projects()};
    const auto note = [&outcome](const auto& result) {
        if (!result && outcome) {
            outcome = std::unexpected(result.error());
        }
        return result.has_value();
    };
    const QStringList promises = merge.promiseLines(ops.promises);
    if (!promises.isEmpty() &&
        note(logged(updateFile(promisesFile(), [&promises](const std::optional<QByteArray>& bytes) {
            return std::optional(memoryLists::withPromises(bytes.value_or("# Promises\n\n"), promises));
        })))) {
        pass.promises = promises.size();
    }
    const auto closed =
        bounded(ops.closedPromises, MemoryMerge::mostLines, u"closed promises"_s, std::identity(), changes);
    const auto ticked = closePromises(closed, known.promises, changes);
    pass.closedPromises = note(ticked) ? *ticked : 0;
    QList<NewIdea> ideas;
    const auto hookOf = [](const LibrarianOps::Idea& idea) { return idea.hook; };
    for (const auto& idea : bounded(ops.ideas, MemoryMerge::mostLines, u"ideas"_s, hookOf, changes)) {
        ideas.append({idea.hook, idea.angle.value_or(QString()), record});
    }
    const auto added = addIdeas(ideas, today, changes);
    pass.ideas = note(added) ? added->size() : 0;
    return outcome ? Result<MemoryPass>(pass) : std::unexpected(outcome.error());
}

Result<qsizetype> MemoryWriter::closePromises(const QStringList& ids, const QList<PromiseItem>& known,
                                              ReplyChanges& changes) const {
    QSet<QString> open;
    for (const PromiseItem& promise : known) {
        if (!promise.done) {
            open.insert(promise.id);
        }
    }
    Result<qsizetype> ticked = 0;
    for (const QString& id : ids) {
        const Result<bool> isThere = setPromise(id, true);
        if (!isThere) {
            ticked = ticked ? std::unexpected(isThere.error()) : ticked;
        } else if (!*isThere) {
            changes.note(u"ids of no promise"_s, id);
        } else if (ticked && open.remove(id)) {
            ++*ticked;
        }
    }
    return ticked;
}

Result<bool> MemoryWriter::changePromises(const ListChange& change) const {
    bool isThere = false;
    const auto written = logged(updateFile(promisesFile(), [&](const std::optional<QByteArray>& bytes) {
        auto changed = change(bytes.value_or(QByteArray()));
        isThere = changed.has_value();
        return changed;
    }));
    if (!written) {
        return written;
    }
    return isThere;
}

Result<bool> MemoryWriter::setPromise(const QString& id, bool done) const {
    return changePromises([&](const QByteArray& file) { return memoryLists::withBox(file, id, done); });
}

Result<bool> MemoryWriter::snoozePromise(const QString& id, QDate until) const {
    return changePromises([&](const QByteArray& file) { return memoryLists::withSnooze(file, id, until); });
}

Result<QStringList> MemoryWriter::addIdeas(const QList<NewIdea>& items, QDate today,
                                           ReplyChanges& changes) const {
    const QString day = PromiseDates::text(today);
    QStringList lines;
    for (const NewIdea& item : items) {
        if (const auto line = ideaLine(item, day, changes)) {
            lines.append(*line);
        }
    }
    if (lines.isEmpty()) {
        return lines;
    }
    QStringList added;
    const auto written = logged(updateFile(ideasFile(), [&](const auto& bytes) -> std::optional<QByteArray> {
        const QByteArray file = bytes.value_or("# Ideas\n");
        added = newIdeaLines(file, lines);
        return added.isEmpty() ? std::nullopt : std::optional(memoryLists::withIdeas(file, added));
    }));
    if (!written) {
        return std::unexpected(written.error());
    }
    return added;
}

Result<QString> MemoryWriter::createProject(const QString& name) const {
    const QString title = memoryText::oneLine(name, mostName);
    QString base = memoryText::fileSlug(title);
    base = base.isEmpty() ? u"project"_s : base;
    MarkdownDoc page;
    page.setField(u"name"_s, title);
    page.setField(u"status"_s, {});
    page.setPreamble({QString(), u"# "_s + title, QString()});
    const QByteArray bytes = page.render().toUtf8();
    QSet<QString> taken;
    const QDir projects(folder(Kind::project));
    const QStringList there = projects.entryList(QDir::Files | QDir::Dirs | QDir::Hidden | QDir::System);
    for (const QString& one : there) {
        taken.insert(comparable(one));
    }
    for (int number = 1;; ++number) {
        const QString slug = number == 1 ? base : base + u"-%1"_s.arg(number);
        const QString file = slug + u".md"_s;
        if (taken.contains(comparable(file))) {
            continue;
        }
        const QString path = projects.filePath(file);
        const auto written = logged(updateFile(path, [&bytes](const std::optional<QByteArray>& there) {
            return there ? std::nullopt : std::optional(bytes);
        }));
        if (!written) {
            return std::unexpected(written.error());
        }
        if (*written) {
            AppLog::info(u"memory"_s, u"created project "_s + slug);
            return slug;
        }
    }
}

Result<bool> MemoryWriter::renameProject(const QString& slug, const QString& name) const {
    const QString title = memoryText::oneLine(name, mostName);
    if (title.isEmpty()) {
        return false;
    }
    if (slug.contains(u'/')) {
        return false;
    }
    bool isLeft = false;
    const auto change = [&](MarkdownDoc& page, bool isNew) {
        if (isNew || page.field(u"name") == title) {
            return false;
        }
        isLeft = !page.setField(u"name"_s, title);
        if (!isLeft) {
            page.setHeading(title);
        }
        return !isLeft;
    };
    auto written = logged(updatePage(folder(Kind::project) + u'/' + slug + u".md"_s, change));
    if (isLeft) {
        return logged(Result<bool>(
            fail(u"The name in %1.md goes on below its line, so change it in that file."_s.arg(slug))));
    }
    return written;
}

}  // namespace lumbro
