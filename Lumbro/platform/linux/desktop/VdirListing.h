#pragma once

#include "platform/linux/desktop/IcalOutline.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

namespace lumbro {

/// A folder of calendar files, each of one item, as vdirsyncer, khal and todoman keep them.
struct VdirCollection {
    /// An absolute path.
    QString path;
    /// The content of its file `displayname`, or the folder's name.
    QString title;

    bool operator==(const VdirCollection&) const = default;
};

/// What tells that a file is another one than before.
struct VdirStamp {
    qint64 modified = 0;
    qint64 size = -1;
    quint64 node = 0;

    bool operator==(const VdirStamp&) const = default;
};

/// A name in a folder that a calendar file has.
struct VdirEntry {
    QByteArray path;
    /// Its place in `VdirListing::collections`.
    qsizetype collection = 0;
};

/// What stands under such a name now.
struct VdirText {
    enum class State { missing, unchanged, read };

    enum class Fault { none, unreadable, tooLarge };

    State state = State::missing;
    /// Why it could not be read.
    Fault fault = Fault::none;
    VdirStamp stamp;
    /// What matters of it. Empty unless it was read, could be, and is wanted.
    QByteArray bytes;
    IcalOutline outline;
};

/// The folders of calendar files below a root, two levels down, and the root itself where it holds such
/// files. Any thread.
struct VdirListing {
    QList<VdirCollection> collections;
    std::vector<VdirEntry> entries;
    /// Folders in it that may not be looked into.
    QList<QByteArray> unreadable;

    /// All of them with their files.
    static VdirListing of(const QString& root);
    /// The folders alone, by their path.
    static QList<VdirCollection> collectionsOf(const QString& root);

    /// The stamp that a file is known by; nothing for one that is to be read in any case. Any thread.
    using Known = std::function<std::optional<VdirStamp>(const VdirEntry& entry)>;
    /// Whether the bytes of a file are of use later. Any thread.
    using IsWanted = std::function<bool(const IcalOutline& outline)>;
    /// The texts of all entries, in their order; files that are as they are known are not read. On several
    /// threads.
    std::vector<VdirText> readChanged(const Known& known, const IsWanted& isWanted) const;
    /// What matters of one file.
    static QByteArray read(const QByteArray& path);
};

}  // namespace lumbro
