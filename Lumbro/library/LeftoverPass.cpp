#include "library/LeftoverPass.h"

#include "LumbroCore/Literals.h"
#include "library/CaptureLock.h"
#include "library/CaptureRepair.h"

#include <QDateTime>
#include <QDir>

#include <utility>

#include <sys/resource.h>
#include <unistd.h>

namespace lumbro {

namespace {

/// An unfinished write of this age belongs to no process that still works on it.
constexpr qint64 staleSeconds = 60;

bool hasTracks(const QString& folder) {
    return !QDir(folder).entryList({u"*.caf"_s}, QDir::Files).isEmpty();
}

}  // namespace

void LeftoverPass::start(const QString& capturesFolder, PackTracks packTracks) {
    m_thread = std::jthread([capturesFolder, pack = std::move(packTracks)](const std::stop_token& stop) {
        run(stop, capturesFolder, pack);
    });
}

void LeftoverPass::run(const std::stop_token& stop, const QString& capturesFolder,
                       const PackTracks& packTracks) {
    // On Linux this is the priority of the calling thread alone.
    setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), 10);
    // File dates are the machine's, whatever clock the application runs on.
    const QDateTime olderThan = QDateTime::currentDateTime().addSecs(-staleSeconds);
    const QStringList names = QDir(capturesFolder).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& name : names) {
        const QString folder = capturesFolder + u'/' + name;
        if (stop.stop_requested()) {
            return;
        }
        if (CaptureLock::isHeld(folder)) {
            continue;
        }
        captureRepair::removeStaleFiles(folder, olderThan);
        if (packTracks && hasTracks(folder)) {
            // Another process may have begun with it since we looked.
            if (const CaptureLock lock(folder); lock.isLocked()) {
                packTracks(folder);
            }
        }
    }
}

}  // namespace lumbro
