#include "memory/ListFile.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"
#include "memory/PageFolder.h"

#include <QFile>

#include <utility>

#include <fcntl.h>

namespace lumbro {

ListFile::ListFile(QString path) : m_path(std::move(path)) {}

bool ListFile::hasChanged() const {
    return !m_isSettled || FileStamp::of(AT_FDCWD, QFile::encodeName(m_path)) != m_stamp;
}

QByteArray ListFile::read() {
    const FileStamp before = m_stamp;
    m_stamp = FileStamp::of(AT_FDCWD, QFile::encodeName(m_path));
    m_isSettled = hasSettled(m_stamp);
    auto bytes = readFile(m_path);
    if (!bytes && m_stamp.exists() && m_stamp != before) {
        AppLog::error(u"memory"_s, m_path.section(u'/', -1) + u" can't be read"_s);
    }
    return std::move(bytes).value_or(QByteArray());
}

}  // namespace lumbro
