#pragma once

#include "platform/linux/desktop/IcalFile.h"

#include <QHash>
#include <QString>
#include <QStringList>

#include <atomic>
#include <mutex>
#include <optional>

namespace lumbro {

/// A folder of calendar files, each of one item, as vdirsyncer, khal and todoman keep them.
struct VdirCollection {
    /// An absolute path.
    QString path;
    /// The content of its file `displayname`, or the folder's name.
    QString title;

    bool operator==(const VdirCollection&) const = default;
};

/// What stands in a folder of collections, kept as long as the files stay the same. Any thread.
class VdirFiles {
  public:
    VdirFiles() = default;
    VdirFiles(const VdirFiles&) = delete;
    VdirFiles& operator=(const VdirFiles&) = delete;

    /// The folder itself where it holds calendar files, and the folders in it, two levels down, by their
    /// path.
    static QList<VdirCollection> collections(const QString& root);

    /// Every occurrence that touches the time, as `CalendarStore::events` gives them. Looks at every file,
    /// and reads those that have changed or were being written.
    QList<CalendarEvent> events(const QString& root, const QString& ownEmail, qint64 from, qint64 to);
    /// The same without looking at the files; nothing where that would need a look, and while another thread
    /// is looking.
    std::optional<QList<CalendarEvent>> known(const QString& root, const QString& ownEmail, qint64 from,
                                              qint64 to);
    QList<CalendarTask> tasks(const QString& root, const QString& ownEmail, const QString& collection);
    /// The next `known` gives nothing. Never waits.
    void forget();

  private:
    struct Stamp {
        qint64 modified = 0;
        qint64 size = -1;
        quint64 node = 0;

        bool operator==(const Stamp&) const = default;
    };
    struct File {
        Stamp stamp;
        /// It was changed so lately that another change need not show in its stamp.
        bool isYoung = false;
        quint64 look = 0;
        QString collection;
        QString calendar;
        IcalFile content;
    };

    void look(const QString& root, const QString& ownEmail);
    void lookInto(const VdirCollection& collection, const QString& ownEmail, qsizetype& room);
    void expand(qint64 from, qint64 to);
    QList<CalendarEvent> within(qint64 from, qint64 to) const;

    std::mutex m_mutex;
    QString m_root;
    QString m_ownEmail;
    QHash<QByteArray, File> m_files;
    quint64 m_look = 0;
    std::atomic<bool> m_isKnown = false;
    bool m_hasYoung = false;
    bool m_hasChanged = true;
    qint64 m_from = 0;
    qint64 m_to = 0;
    /// The occurrences from `m_from` to `m_to`, sorted.
    QList<CalendarEvent> m_events;
};

}  // namespace lumbro
