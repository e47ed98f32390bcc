#pragma once

#include "platform/linux/desktop/IcalFile.h"
#include "platform/linux/desktop/VdirListing.h"

#include <QHash>
#include <QString>

#include <atomic>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace lumbro {

/// What stands in a folder of collections, kept as long as the files stay the same. Any thread.
class VdirFiles {
  public:
    VdirFiles() = default;
    VdirFiles(const VdirFiles&) = delete;
    VdirFiles& operator=(const VdirFiles&) = delete;

    /// Every occurrence that touches the time, as `CalendarStore::events` gives them. Looks at every file,
    /// and reads those that have changed or were being written.
    QList<CalendarEvent> events(const QString& root, const QString& ownEmail, qint64 from, qint64 to);
    /// The same without looking at the files; nothing where that would need a look, and while another thread
    /// is looking.
    std::optional<QList<CalendarEvent>> known(const QString& root, const QString& ownEmail, qint64 from,
                                              qint64 to);
    QList<CalendarTask> tasks(const QString& root, const QString& ownEmail, const QString& collection);
    /// Sentences for the user about what is missing in the last answer of `events`: files that can't be read
    /// or followed, by their names.
    QStringList leftOut() const;
    /// The next `known` gives nothing. Never waits.
    void forget();

  private:
    struct File {
        VdirStamp stamp;
        /// It was changed so lately that another change need not show in its stamp.
        bool isYoung = false;
        quint64 look = 0;
        VdirText::Fault fault = VdirText::Fault::none;
        /// It repeats more often than it may.
        bool isCut = false;
        /// That something of it is missing was told.
        bool isTold = false;
        QString collection;
        QString calendar;
        IcalOutline outline;
        /// What it holds, once that was needed; before, its bytes where they are about to be.
        std::optional<IcalFile> content;
        QByteArray bytes;
    };
    struct Span {
        qint64 from = 0;
        qint64 to = 0;
    };

    void look(const QString& root, const QString& ownEmail, Span wanted);
    std::optional<VdirStamp> known(const VdirEntry& entry, const QString& title) const;
    void take(File& file, VdirText text);
    const IcalFile& contentOf(const QByteArray& path, File& file) const;
    void expand(Span wanted);
    static QString missing(const QString& path, const File& file);
    void tellWhatIsMissing();
    QList<CalendarEvent> within(Span wanted) const;

    mutable std::mutex m_mutex;
    QString m_root;
    QString m_ownEmail;
    QHash<QByteArray, File> m_files;
    quint64 m_look = 0;
    std::atomic<bool> m_isKnown = false;
    bool m_hasYoung = false;
    bool m_hasChanged = true;
    QList<QByteArray> m_unreadable;
    QStringList m_leftOut;
    Span m_span;
    /// The occurrences of `m_span`, sorted.
    std::vector<IcalOccurrence> m_found;
};

}  // namespace lumbro
