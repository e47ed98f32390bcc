#include "actions/ActionWatch.h"

#include "LumbroCore/Literals.h"

#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <utility>

namespace lumbro {

namespace {

/// In milliseconds. Within this time a folder may change again without a new date.
constexpr qint64 young = 2'000;
const QString ending = u".json"_s;

}  // namespace

ActionWatch::ActionWatch(const QString& folder) : m_folder(folder) {}

std::optional<QStringList> ActionWatch::changed() {
    QSet<QString> ids;
    const bool wasWatching = m_number >= 0;
    bool isSameFolder = wasWatching;
    const bool isWhole = m_watches.take([&](int number, QByteArrayView name) {
        const QString file = QFile::decodeName(name.toByteArray());
        if (file.endsWith(ending)) {
            ids.insert(file.chopped(ending.size()));
        }
        isSameFolder = isSameFolder && !(number == m_number && name.isEmpty());
    });
    if (isSameFolder && isWhole) {
        return QStringList(ids.begin(), ids.end());
    }
    if (!watchAgain() && !wasWatching && isUntouched()) {
        return QStringList();
    }
    return std::nullopt;
}

/// The folder may be another one by now, or may not have been there before.
bool ActionWatch::watchAgain() {
    const QByteArray folder = QFile::encodeName(m_folder);
    if (m_number >= 0) {
        m_watches.remove(std::exchange(m_number, -1));
    }
    m_number = m_watches.areTold(folder) ? m_watches.add(folder) : -1;
    return m_number >= 0;
}

/// Every write of a run puts a new file into the folder.
bool ActionWatch::isUntouched() {
    const QDateTime touched = QFileInfo(m_folder).lastModified();
    const bool isSame = std::exchange(m_touched, touched) == touched;
    return isSame && (!touched.isValid() || touched.msecsTo(QDateTime::currentDateTime()) > young);
}

}  // namespace lumbro
