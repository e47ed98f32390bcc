#include "memory/ListFile.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"
#include "memory/PageFolder.h"

#include <QFile>
#include <QFileInfo>
#include <QUtf8StringView>

#include <utility>

#include <fcntl.h>

namespace lumbro {

ListFile::ListFile(QString path, ReadGuard mayRead)
    : m_path(std::move(path)), m_mayRead(std::move(mayRead)) {}

bool ListFile::hasChanged() const {
    return !m_isSettled || FileStamp::of(AT_FDCWD, QFile::encodeName(m_path)) != m_stamp;
}

bool ListFile::read() {
    const FileStamp stampBefore = m_stamp;
    m_stamp = FileStamp::of(AT_FDCWD, QFile::encodeName(m_path));
    m_isSettled = hasSettled(m_stamp);
    auto bytes = m_mayRead && !m_mayRead(m_path) ? std::nullopt : readFile(m_path);
    m_fault.reset();
    if (!bytes && (m_stamp.exists() || QFileInfo(m_path).isSymLink())) {
        m_fault = {m_path, MemoryFault::Kind::unreadable};
        if (m_stamp != stampBefore) {
            AppLog::errorOnce(u"memory"_s, m_path.section(u'/', -1) + u" can't be read"_s,
                              QFileInfo(m_path).metadataChangeTime());
        }
    } else if (bytes && !QUtf8StringView(*bytes).isValidUtf8()) {
        m_fault = {m_path, MemoryFault::Kind::oddBytes};
    }
    const QByteArray before = std::exchange(m_bytes, std::move(bytes).value_or(QByteArray()));
    return m_bytes != before;
}

}  // namespace lumbro
