#include "LumbroCore/FolderWatches.h"

#include "LumbroCore/Literals.h"

#include <QFile>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include <linux/magic.h>
#include <sys/inotify.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace lumbro {

namespace {

constexpr quint32 changes = IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | IN_CREATE | IN_DELETE | IN_MOVED_FROM |
                            IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

/// What all programs of the user may watch together.
int allowed() {
    QFile file(u"/proc/sys/fs/inotify/max_user_watches"_s);
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed().toInt() : 0;
}

}  // namespace

FolderWatches::FolderWatches() : m_notes(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)), m_most(allowed() / 4) {}

FolderWatches::~FolderWatches() {
    if (m_notes >= 0) {
        close(m_notes);
    }
}

bool FolderWatches::areTold(const QByteArray& folder) const {
    constexpr std::array<quint32, 7> local{EXT4_SUPER_MAGIC, BTRFS_SUPER_MAGIC, XFS_SUPER_MAGIC,
                                           TMPFS_MAGIC,      F2FS_SUPER_MAGIC,  OVERLAYFS_SUPER_MAGIC,
                                           0x2fc12fc1 /* ZFS */};
    struct statfs status{};
    return m_notes >= 0 && statfs(folder.constData(), &status) == 0 &&
           std::ranges::find(local, quint32(status.f_type)) != local.end();
}

int FolderWatches::add(const QByteArray& folder) {
    const std::scoped_lock lock(m_mutex);
    if (m_numbers.size() >= m_most) {
        return -1;
    }
    const int number = inotify_add_watch(m_notes, folder.constData(), changes);
    if (number >= 0) {
        m_numbers.insert(number);
    } else if (errno == ENOSPC || errno == ENOMEM) {
        m_most = 0;
    }
    return number;
}

void FolderWatches::remove(int number) {
    inotify_rm_watch(m_notes, number);
    const std::scoped_lock lock(m_mutex);
    m_numbers.remove(number);
}

bool FolderWatches::take(const std::function<void(int, QByteArrayView)>& change) {
    alignas(inotify_event) std::array<char, size_t(64) * 1024> buffer{};
    bool isWhole = true;
    for (;;) {
        const ssize_t size = read(m_notes, buffer.data(), buffer.size());
        if (size <= 0) {
            return isWhole && (size == 0 || errno == EAGAIN);
        }
        for (ssize_t at = 0; at < size;) {
            inotify_event event{};
            std::memcpy(&event, buffer.data() + at, sizeof event);
            const char* name = buffer.data() + at + sizeof event;
            isWhole = isWhole && (event.mask & IN_Q_OVERFLOW) == 0;
            if ((event.mask & IN_IGNORED) != 0) {
                // The folder is gone, and its number with it.
                const std::scoped_lock lock(m_mutex);
                m_numbers.remove(event.wd);
            }
            change(event.wd, event.len == 0 ? QByteArrayView() : QByteArrayView(name, qstrlen(name)));
            at += ssize_t(sizeof event + event.len);
        }
    }
}

}  // namespace lumbro
