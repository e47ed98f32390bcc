#pragma once

#include "LumbroCore/Clock.h"
#include "LumbroCore/Failure.h"
#include "LumbroCore/Settings.h"
#include "library/ContextLibrary.h"
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
/// are the truth; the lists here are rebuilt from them. Failures are logged under "memory" and leave the file
/// as it was. Main thread only.
class MemoryStore final : public QObject {
    Q_OBJECT

  public:
    /// Touches nothing yet; the lists are empty until `bootstrap` or `reload`. Companies are made from the
    /// library's captures as they are when the lists are read, and anew when those change.
    MemoryStore(ContextLibrary& library, const Clock& clock, const Settings& settings);
    ~MemoryStore() override;

    /// The folder "memory".
    QString root() const;
    /// Makes the folders and the two lists where they are missing, and reads all.
    void bootstrap();
    /// Reads what has changed. Without `force`, only the folders' metadata when nothing has.
    void reload(bool force);

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
    /// be written stays when a part fails; the first failure is logged and given back. It is `notFound` or
    /// `timedOut` when there is no folder for it or another process kept that, and nothing was changed. One
    /// line in the log tells what was not taken as it stands, after what `changes` tells already.
    Result<> apply(const LibrarianOps& ops, const CaptureRecord& record, ReplyChanges changes = {});

    /// Ticks or unticks a promise by its id. False when there is none or it could not be written.
    bool setPromise(const QString& id, bool done);
    /// Hides a promise from reminders for some days from today. False as for `setPromise`.
    bool snoozePromise(const QString& id, int days);
    /// All promises that link to the person, done ones too.
    QList<PromiseItem> promisesInvolving(const QString& slug) const;
    /// The promises to remind of, the most pressing first.
    QList<PromiseItem> duePromises(bool includeSoon) const;
    /// The mail that asks about a promise owed to the user.
    NudgeDraft nudge(const PromiseItem& promise) const;

    using NewIdea = lumbro::NewIdea;
    /// Puts ideas on top of the list, in the order given. Those without a hook are dropped. The lines
    /// written.
    QStringList addIdeas(const QList<NewIdea>& items);

    /// Makes a project's page and gives its slug, which stays when the project is renamed. Empty when it
    /// could not be written.
    QString createProject(const QString& name);
    /// Nothing happens for an empty name or the one that it has. False when the page could not be changed.
    bool renameProject(const QString& slug, const QString& name);
    /// Moves a page to the Trash.
    Result<> removePage(MemoryEntity::Kind kind, const QString& slug);

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
    auto change(const Work& work) -> decltype(work());

    struct Private;
    std::unique_ptr<Private> m_private;
};

}  // namespace lumbro
