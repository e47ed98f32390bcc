#include "library/LinkFence.h"

#include "LumbroCore/Literals.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <utility>

#include <sys/stat.h>

namespace lumbro {

namespace {

bool isLink(const QString& path) {
    struct stat status{};
    return lstat(QFile::encodeName(path).constData(), &status) == 0 && S_ISLNK(status.st_mode);
}

}  // namespace

LinkFence::LinkFence(QString root) : m_root(std::move(root)) {}

bool LinkFence::holds(const QString& path) const {
    // Most files have none, and to look for one costs less than to follow the whole path.
    if (!hasLink(path)) {
        return true;
    }
    const QString real = QFileInfo(path).canonicalFilePath();
    const QString root = QFileInfo(m_root).canonicalFilePath();
    return real.isEmpty() || (!root.isEmpty() && (real == root || real.startsWith(root + u'/')));
}

bool LinkFence::holdsAll(const QString& path) const {
    if (!holds(path)) {
        return false;
    }
    QDirIterator files(path, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden | QDir::System,
                       QDirIterator::Subdirectories | QDirIterator::FollowSymlinks);
    while (files.hasNext()) {
        const QString file = files.next();
        if (files.fileInfo().isSymLink() && !holds(file)) {
            return false;
        }
    }
    return true;
}

/// Whether the path, or a folder between it and ours, is a link. True as well of a path that isn't in ours.
bool LinkFence::hasLink(const QString& path) const {
    if (!path.startsWith(m_root + u'/') || path.contains(u"/.."_s)) {
        return true;
    }
    for (qsizetype end = m_root.size(); end >= 0;) {
        end = path.indexOf(u'/', end + 1);
        if (isLink(end < 0 ? path : path.first(end))) {
            return true;
        }
    }
    return false;
}

}  // namespace lumbro
