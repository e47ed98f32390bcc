#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Failure.h"
#include "LumbroCore/Settings.h"
#include "LumbroCore/Task.h"
#include "library/ContextLibrary.h"
#include "memory/MemoryFault.h"
#include "memory/MemoryPass.h"
#include "memory/NewIdea.h"
#include "memory/ReplyChanges.h"
#include "memory/formats/Company.h"
#include "memory/formats/IdeaItem.h"
#include "memory/formats/LibrarianOps.h"
#include "memory/formats/MemoryEntity.h"
#include "memory/formats/NudgeDraft.h"
#include "memory/formats/PromiseItem.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

namespace lumbro {

/// The memory: the folder "memory" of the library with pages of people and projects, promises and ideas, all
/// plain markdown that people may edit while the program runs. The only reader and writer of it. The files
/// are the truth; the lists here are rebuilt from them. Changes wait up to five seconds, without holding up
/// the thread, for another process that changes the memory; after that they are a failure `timedOut`.
/// Failures are logged under "memory" and leave the file as it was. Main thread only.
class MemoryStore final : public QObject {
    Q_OBJECT

  public:
    /// Touches nothing yet; the lists are empty until `bootstrap` or `reload`. Companies are made from the
    /// library's captures as they are when the lists are read, and anew when those change.
    MemoryStore(ContextLibrary& library, Clock& clock, const Settings& settings);
    ~MemoryStore() override;

    /// The folder "memory".
    QString root() const;
    /// Makes the folders and lists where they are missing, unless another process is at it, and reads all.
    void bootstrap();
    /// Reads what has changed. Without `force`, only the folders' metadata when nothing has.
    void reload(bool force);

    /// What was there and could not be read at the last reading.
    QList<MemoryFault> faults() const;
    /// Seen last first.
    const QList<MemoryEntity>& people() const;
    const QList<MemoryEntity>& projects() const;
    /// In the order of the file, oldest first.
    const QList<PromiseItem>& promises() const;
    /// In the order of the file, newest first.
    const QList<IdeaItem>& ideas() const;
    const QList<Company>& companies() const;
    std::optional<MemoryEntity> entity(MemoryEntity::Kind kind, const QString& id) const;
    /// By its domain, in any case.
    std::optional<Company> company(const QString& domain) const;
    std::optional<Company> companyForPerson(const QString& slug) const;
    /// Captures that the person took part in or whose address stands among the attendees', newest first.
    QList<CaptureRecord> capturesWith(const QString& slug) const;

    /// What the Librarian is doing, for people; empty when it is idle.
    QString status() const;
    void setStatus(const QString& status);

    /// The summary of all that is known, for the model.
    QString index() const;
    /// Merges what a model proposed after reading the capture. Everything is checked and bounded. What could
    /// be written stays when a part fails; the first failure is given back, `notFound` without a folder. One
    /// line in the log tells what was not taken as it stands, after what `changes` tells already.
    Task<Result<MemoryPass>> apply(LibrarianOps ops, CaptureRecord record, ReplyChanges changes = {});

    /// Ticks or unticks a promise by its id. False when there is none.
    Task<Result<bool>> setPromise(QString id, bool done);
    /// Hides a promise from reminders for some days from today. False when there is none.
    Task<Result<bool>> snoozePromise(QString id, int days);
    /// All promises that link to the person, done ones too.
    QList<PromiseItem> promisesInvolving(const QString& slug) const;
    /// The promises to remind of, the most pressing first.
    QList<PromiseItem> duePromises(bool includeSoon) const;
    /// The mail that asks about a promise owed to the user.
    NudgeDraft nudge(const PromiseItem& promise) const;

    /// Puts ideas on top of the list, in this order, but none that it has from the same capture. The lines
    /// written.
    Task<Result<QStringList>> addIdeas(QList<NewIdea> items);

    /// Makes a project's page and gives its slug, which stays when the project is renamed.
    Task<Result<QString>> createProject(QString name);
    /// False when nothing was to be changed: no such page, an empty name, or the one that it has.
    Task<Result<bool>> renameProject(QString slug, QString name);

    /// A person's address: from the page, else from the newest capture that has one for the name.
    std::optional<QString> email(const std::optional<QString>& slug, const QString& name) const;

  Q_SIGNALS:
    /// Some file of the memory is not what it was at the last reading.
    void filesChanged();
    void peopleChanged();
    void projectsChanged();
    void promisesChanged();
    void ideasChanged();
    void companiesChanged();
    void statusChanged();

  private:
    /// Runs a change of the files under the lock, with the lists read before and after it.
    template <typename Work>
    auto change(Work work) -> Task<decltype(work())>;

    struct Private;
    std::unique_ptr<Private> m_private;
};

}  // namespace lumbro
