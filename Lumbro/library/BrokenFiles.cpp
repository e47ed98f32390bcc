#include "library/BrokenFiles.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Literals.h"

#include <QFileInfo>

namespace lumbro {

void BrokenFiles::report(const QString& path, const QString& consequence) {
    const QDateTime modified = QFileInfo(path).lastModified();
    const auto known = m_reported.constFind(path);
    if (known != m_reported.constEnd() && *known == modified) {
        return;
    }
    m_reported[path] = modified;
    AppLog::errorOnce(u"library"_s, path.section(u'/', -3) + u" can't be read"_s + consequence,
                      QFileInfo(path).metadataChangeTime());
}

}  // namespace lumbro
