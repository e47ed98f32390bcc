#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <vector>

namespace lumbro {

/// The transcripts and folders of chats that imports could not read, each with the time since when its chats
/// are wanted, in a small file. Any thread; the caller keeps others from the file.
class UnreadChats {
  public:
    /// Reads the file; one that is missing or broken names none.
    explicit UnreadChats(QString file);

    /// The earliest time since when chats are wanted of what can be opened by now; invalid when nothing can.
    QDateTime reach() const;
    /// Remembers what an import since `start` could not read. What it could open is forgotten, even where it
    /// was not read to its end: it is read again when it changes; and so is what is gone. Gives all paths
    /// that still wait. A file that can't be written is logged.
    QStringList settle(const QStringList& unreadable, const QDateTime& start);

  private:
    struct Item {
        QString path;
        QDateTime since;
        bool isOpen = false;
    };

    void write() const;

    QString m_file;
    std::vector<Item> m_items;
};

}  // namespace lumbro
