#include "memory/FolderWatch.h"

#include <QFile>

#include <algorithm>
#include <utility>

namespace lumbro {

namespace {

constexpr auto trusted = std::chrono::seconds(10);
constexpr int looksBeforeWatching = 6;

}  // namespace

FolderWatch::FolderWatch(QStringList folders) : m_folders(std::move(folders)) {}

/// Takes what the kernel has told. What was lost counts as told.
bool FolderWatch::hasEvents() {
    bool any = false;
    const bool isWhole = m_watches->take([&any](int, QByteArrayView) { any = true; });
    return any || !isWhole;
}

bool FolderWatch::isQuiet() {
    return m_isWatchingAll && !hasEvents() && std::chrono::steady_clock::now() - m_looked < trusted;
}

void FolderWatch::beginLook() {
    m_looked = std::chrono::steady_clock::now();
    if (++m_looks < looksBeforeWatching) {
        return;
    }
    if (!m_watches) {
        m_watches.emplace();
    }
    // Again each time: a folder may be another one by now. One that is watched already costs nothing.
    m_isWatchingAll = std::ranges::all_of(
        m_folders, [this](const QString& folder) { return m_watches->add(QFile::encodeName(folder)) >= 0; });
}

}  // namespace lumbro
