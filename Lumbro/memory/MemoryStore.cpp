#include "memory/MemoryStore.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "memory/CompanyList.h"
#include "memory/FolderWatch.h"
#include "memory/ListFile.h"
#include "memory/MemoryLock.h"
#include "memory/MemoryWriter.h"
#include "memory/PageFolder.h"
#include "memory/formats/EmailAddresses.h"
#include "memory/formats/MemoryIndex.h"
#include "memory/formats/MemoryLists.h"
#include "memory/formats/PromiseSides.h"

#include <QFileInfo>
#include <QPointer>
#include <QSet>

#include <algorithm>
#include <iterator>
#include <utility>

namespace lumbro {

namespace {

/// Puts a value in the place of another; false when they are equal.
template <typename Value>
bool replaced(Value& value, Value fresh) {
    if (value == fresh) {
        return false;
    }
    value = std::move(fresh);
    return true;
}

}  // namespace

struct MemoryStore::Private {
    Private(ContextLibrary& theLibrary, Clock& theClock, const Settings& settings)
        : library(theLibrary),
          clock(theClock),
          root(theLibrary.root() + u"/memory"_s),
          writer(root),
          peopleFolder(MemoryEntity::Kind::person, writer.folder(MemoryEntity::Kind::person),
                       theLibrary.guard()),
          projectsFolder(MemoryEntity::Kind::project, writer.folder(MemoryEntity::Kind::project),
                         theLibrary.guard()),
          promisesFile(writer.promisesFile(), theLibrary.guard()),
          ideasFile(writer.ideasFile(), theLibrary.guard()),
          watch({root, peopleFolder.path(), projectsFolder.path()}),
          companies(theLibrary, settings) {}

    QDate today() const { return clock.now().date(); }
    bool hasChanged() {
        const bool isSettled = promisesFile.isSettled() && ideasFile.isSettled() &&
                               projectsFolder.isSettled() && peopleFolder.isSettled();
        if (isSettled && watch.isQuiet()) {
            return false;
        }
        watch.beginLook();
        return promisesFile.hasChanged() || ideasFile.hasChanged() || projectsFolder.hasChanged() ||
               peopleFolder.hasChanged();
    }
    void logUnreadable() const {
        for (const PageFolder* folder : {&peopleFolder, &projectsFolder}) {
            for (const QString& name : folder->unreadable()) {
                const QString path = folder->path() + u'/' + name;
                AppLog::errorOnce(u"memory"_s, path.section(u'/', -2) + u" can't be read and is left out"_s,
                                  QFileInfo(path).metadataChangeTime());
            }
        }
    }

    ContextLibrary& library;
    Clock& clock;
    QString root;
    MemoryWriter writer;
    PageFolder peopleFolder;
    PageFolder projectsFolder;
    ListFile promisesFile;
    ListFile ideasFile;
    FolderWatch watch;
    QList<PromiseItem> promises;
    QList<IdeaItem> ideas;
    CompanyList companies;
    QString status;
};

MemoryStore::MemoryStore(ContextLibrary& library, Clock& clock, const Settings& settings)
    : m_private(std::make_unique<Private>(library, clock, settings)) {
    connect(&library, &ContextLibrary::capturesChanged, this,
            [this] { m_private->companies.capturesChanged(); });
}

MemoryStore::~MemoryStore() = default;

QString MemoryStore::root() const {
    return m_private->root;
}

void MemoryStore::bootstrap() {
    const MemoryLock lock(m_private->root);
    const auto held = lock.held();
    if (held) {
        m_private->writer.start();
    } else if (held.error().kind != FailureKind::timedOut) {
        AppLog::error(u"memory"_s, held.error().message);
    }
    reload(true);
}

void MemoryStore::reload(bool force) {
    Private& store = *m_private;
    const bool hasChanged = store.hasChanged();
    if (hasChanged || force) {
        if (store.peopleFolder.read()) {
            store.companies.peopleChanged();
            Q_EMIT peopleChanged();
        }
        if (store.projectsFolder.read()) {
            Q_EMIT projectsChanged();
        }
        if (store.promisesFile.read() &&
            replaced(store.promises, memoryLists::promises(store.promisesFile.bytes()))) {
            Q_EMIT promisesChanged();
        }
        if (store.ideasFile.read() && replaced(store.ideas, memoryLists::ideas(store.ideasFile.bytes()))) {
            Q_EMIT ideasChanged();
        }
        store.logUnreadable();
    }
    if (store.companies.reload(people())) {
        Q_EMIT companiesChanged();
    }
    if (hasChanged) {
        Q_EMIT filesChanged();
    }
}

QList<MemoryFault> MemoryStore::faults() const {
    const QFileInfo folder(m_private->root);
    const bool isUsable = folder.isDir() && folder.isReadable() && folder.isExecutable();
    if (!isUsable && (folder.exists() || folder.isSymLink())) {
        return {{m_private->root, MemoryFault::Kind::unreadable}};
    }
    QList<MemoryFault> faults = m_private->peopleFolder.faults() + m_private->projectsFolder.faults();
    const auto add = [&faults](const ListFile& file, bool isEmpty) {
        if (auto fault = file.fault()) {
            const bool isText = fault->kind != MemoryFault::Kind::oddBytes || !isEmpty;
            fault->kind = isText ? fault->kind : MemoryFault::Kind::notText;
            faults.append(*fault);
        }
    };
    add(m_private->promisesFile, m_private->promises.isEmpty());
    add(m_private->ideasFile, m_private->ideas.isEmpty());
    return faults;
}

template <typename Work>
auto MemoryStore::change(Work work) -> Task<decltype(work())> {
    const QPointer<MemoryStore> alive(this);
    const auto lock = co_await MemoryLock::wait(m_private->root, &m_private->clock);
    if (!alive) {
        co_return fail(FailureKind::cancelled, u"Lumbro was closed."_s);
    }
    if (const auto held = lock->held(); !held) {
        AppLog::error(u"memory"_s, held.error().message);
        co_return std::unexpected(held.error());
    }
    reload(false);
    auto outcome = work();
    reload(true);
    co_return outcome;
}

const QList<MemoryEntity>& MemoryStore::people() const {
    return m_private->peopleFolder.entities();
}

const QList<MemoryEntity>& MemoryStore::projects() const {
    return m_private->projectsFolder.entities();
}

const QList<PromiseItem>& MemoryStore::promises() const {
    return m_private->promises;
}

const QList<IdeaItem>& MemoryStore::ideas() const {
    return m_private->ideas;
}

const QList<Company>& MemoryStore::companies() const {
    return m_private->companies.companies();
}

std::optional<MemoryEntity> MemoryStore::entity(MemoryEntity::Kind kind, const QString& id) const {
    const MemoryEntity* page =
        MemoryEntity::find(kind == MemoryEntity::Kind::person ? people() : projects(), id);
    return page == nullptr ? std::nullopt : std::optional(*page);
}

std::optional<Company> MemoryStore::company(const QString& domain) const {
    const auto company = std::ranges::find(companies(), domain.toLower(), &Company::domain);
    return company == companies().end() ? std::nullopt : std::optional(*company);
}

std::optional<Company> MemoryStore::companyForPerson(const QString& slug) const {
    const QString wanted = comparable(slug);
    const auto company = std::ranges::find_if(companies(), [&wanted](const Company& one) {
        return std::ranges::any_of(one.personSlugs,
                                   [&wanted](const QString& known) { return comparable(known) == wanted; });
    });
    return company == companies().end() ? std::nullopt : std::optional(*company);
}

QList<CaptureRecord> MemoryStore::capturesWith(const QString& slug) const {
    const auto person = entity(MemoryEntity::Kind::person, slug);
    QList<CaptureRecord> captures;
    if (!person) {
        return captures;
    }
    QSet<QString> linked;
    for (const TimelineEntry& entry : person->timeline) {
        linked.insert(entry.source ? entry.source->captureID().value_or(QString()) : QString());
    }
    const QString name = comparable(person->name);
    const auto tookPart = [&](const CaptureMeta& meta) {
        const QStringList emails = meta.attendeeEmails.value_or(QStringList());
        const QStringList names = meta.attendees.value_or(QStringList());
        return std::ranges::any_of(names, [&name](const QString& one) { return comparable(one) == name; }) ||
               std::ranges::any_of(emails, [&person](const QString& email) {
                   return person->emails.contains(email, Qt::CaseInsensitive);
               });
    };
    for (const CaptureRecord& record : m_private->library.captures()) {
        if (linked.contains(record.id()) || tookPart(record.meta)) {
            captures.append(record);
        }
    }
    return captures;
}

QString MemoryStore::status() const {
    return m_private->status;
}

void MemoryStore::setStatus(const QString& status) {
    if (replaced(m_private->status, status)) {
        Q_EMIT statusChanged();
    }
}

QString MemoryStore::index() const {
    return memoryIndex(people(), projects(), companies(), promises());
}

Task<Result<MemoryPass>> MemoryStore::apply(LibrarianOps ops, CaptureRecord record, ReplyChanges changes) {
    return change([this, ops = std::move(ops), record = std::move(record),
                   changes = std::move(changes)]() mutable -> Result<MemoryPass> {
        const MemoryMerge::Known known{people(), projects(), promises()};
        auto applied = m_private->writer.apply(known, ops, record, m_private->today(), changes);
        if (const QString told = changes.summary(); !told.isEmpty()) {
            AppLog::info(u"memory"_s,
                         u"reply for %1 was not taken as it stands: %2"_s.arg(record.id(), told));
        }
        return applied;
    });
}

Task<Result<bool>> MemoryStore::setPromise(QString id, bool done) {
    return change([this, id = std::move(id), done] { return m_private->writer.setPromise(id, done); });
}

Task<Result<bool>> MemoryStore::snoozePromise(QString id, int days) {
    return change([this, id = std::move(id), days] {
        return m_private->writer.snoozePromise(id, m_private->today().addDays(days));
    });
}

QList<PromiseItem> MemoryStore::promisesInvolving(const QString& slug) const {
    QList<PromiseItem> involving;
    std::ranges::copy_if(promises(), std::back_inserter(involving),
                         [&slug](const PromiseItem& promise) { return promise.involves(slug); });
    return involving;
}

QList<PromiseItem> MemoryStore::duePromises(bool includeSoon) const {
    return lumbro::duePromises(promises(), includeSoon, m_private->today());
}

NudgeDraft MemoryStore::nudge(const PromiseItem& promise) const {
    return NudgeDraft::of(promise, email(promise.otherSlug(), promise.otherName()));
}

Task<Result<QStringList>> MemoryStore::addIdeas(QList<NewIdea> items) {
    return change([this, items = std::move(items)] {
        ReplyChanges changes;
        return m_private->writer.addIdeas(items, m_private->today(), changes);
    });
}

Task<Result<QString>> MemoryStore::createProject(QString name) {
    return change([this, name = std::move(name)] { return m_private->writer.createProject(name); });
}

Task<Result<bool>> MemoryStore::renameProject(QString slug, QString name) {
    return change([this, slug = std::move(slug), name = std::move(name)] {
        return m_private->writer.renameProject(slug, name);
    });
}

std::optional<QString> MemoryStore::email(const std::optional<QString>& slug, const QString& name) const {
    const auto person = slug ? entity(MemoryEntity::Kind::person, *slug) : std::nullopt;
    if (person && !person->emails.isEmpty()) {
        return person->emails.first();
    }
    for (const CaptureRecord& record : m_private->library.captures()) {
        if (!record.meta.attendees) {
            continue;
        }
        if (auto known = emailAddresses::forName(name, emailAddresses::ofAttendees(record.meta))) {
            return known;
        }
    }
    return std::nullopt;
}

}  // namespace lumbro
