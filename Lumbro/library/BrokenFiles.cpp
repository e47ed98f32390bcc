#include "library/BrokenFiles.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
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
    AppLog::error(u"library"_s, path.section(u'/', -3) + u" can't be read"_s + consequence);
}

bool BrokenFiles::keepCopy(const QString& path) {
    const auto bytes = readFile(path);
    if (!bytes) {
        return false;
    }
    for (int number = 1;; ++number) {
        const QString copy = path + u".broken"_s + (number == 1 ? QString() : u"-%1"_s.arg(number));
        if (!QFileInfo::exists(copy)) {
            return writeFileAtomically(copy, *bytes).has_value();
        }
        if (readFile(copy) == bytes) {
            return true;
        }
    }
}

}  // namespace lumbro
