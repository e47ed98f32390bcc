#include "memory/FolderWatch.h"

#include <QFile>

#include <array>
#include <cerrno>
#include <cstdint>
#include <utility>

#include <sys/inotify.h>
#include <unistd.h>

namespace lumbro {

namespace {

constexpr auto trusted = std::chrono::seconds(10);
constexpr int looksBeforeWatching = 6;
constexpr uint32_t changes = IN_MODIFY | IN_ATTRIB | IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVE |
                             IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

}  // namespace

FolderWatch::FolderWatch(QStringList folders) : m_folders(std::move(folders)) {}

FolderWatch::~FolderWatch() {
    if (m_descriptor >= 0) {
        close(m_descriptor);
    }
}

/// Takes what the kernel has told. What is no event, such as an error, counts as one.
bool FolderWatch::hasEvents() const {
    bool any = false;
    alignas(inotify_event) std::array<char, 4096> events;
    for (;;) {
        const ssize_t got = read(m_descriptor, events.data(), events.size());
        if (got <= 0) {
            return any || got == 0 || errno != EAGAIN;
        }
        any = true;
    }
}

bool FolderWatch::isQuiet() {
    return m_descriptor >= 0 && !hasEvents() && std::chrono::steady_clock::now() - m_looked < trusted;
}

void FolderWatch::beginLook() {
    m_looked = std::chrono::steady_clock::now();
    if (++m_looks < looksBeforeWatching) {
        return;
    }
    if (m_descriptor < 0) {
        m_descriptor = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    }
    // Again each time: a folder may be another one by now. One that is watched already costs nothing.
    for (const QString& folder : std::as_const(m_folders)) {
        if (m_descriptor >= 0 &&
            inotify_add_watch(m_descriptor, QFile::encodeName(folder).constData(), changes) < 0) {
            close(std::exchange(m_descriptor, -1));
        }
    }
}

}  // namespace lumbro
