#pragma once

#include "LumbroCore/FolderWatches.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <optional>

namespace lumbro {

/// Tells which files of a folder of runs have changed, whichever process did it, so that nobody need read all
/// of them again and again. One thread.
class ActionWatch {
  public:
    explicit ActionWatch(const QString& folder);

    /// The ids of the runs whose files have changed since the last call, or are gone. Nothing when any may
    /// have, as at the first call.
    std::optional<QStringList> changed();

  private:
    bool watchAgain();
    bool isUntouched();

    QString m_folder;
    FolderWatches m_watches;
    int m_number = -1;
    /// When the folder was changed last, for where the kernel tells nothing.
    QDateTime m_touched;
};

}  // namespace lumbro
