#include "chats/UnreadChats.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace lumbro {

namespace {

enum class Access { open, closed, gone };

Access accessTo(const QString& path) {
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        return errno == ENOENT || errno == ENOTDIR ? Access::gone : Access::closed;
    }
    ::close(descriptor);
    return Access::open;
}

}  // namespace

UnreadChats::UnreadChats(QString file) : m_file(std::move(file)) {
    const auto bytes = readFile(m_file);
    const QJsonArray items = QJsonDocument::fromJson(bytes.value_or(QByteArray())).array();
    for (const auto& value : items) {
        const QJsonObject object = value.toObject();
        const QString path = object[u"path"_s].toString();
        const auto since = dates::fromIso(object[u"since"_s].toString());
        const Access access = accessTo(path);
        if (since && access != Access::gone) {
            m_items.push_back({path, *since, access == Access::open});
        }
    }
}

QDateTime UnreadChats::reach() const {
    QDateTime earliest;
    for (const Item& item : m_items) {
        if (item.isOpen && (!earliest.isValid() || item.since < earliest)) {
            earliest = item.since;
        }
    }
    return earliest;
}

QStringList UnreadChats::settle(const QStringList& unreadable, const QDateTime& start) {
    QStringList waiting = unreadable;
    for (const QString& path : unreadable) {
        if (std::ranges::find(m_items, path, &Item::path) == m_items.end()) {
            m_items.push_back({path, start});
        }
    }
    std::erase_if(m_items, [](const Item& item) { return item.isOpen; });
    for (const Item& item : m_items) {
        if (!waiting.contains(item.path)) {
            waiting.append(item.path);
        }
    }
    write();
    return waiting;
}

void UnreadChats::write() const {
    if (m_items.empty()) {
        QFile::remove(m_file);
        return;
    }
    QJsonArray items;
    for (const Item& item : m_items) {
        items.append(QJsonObject{{u"path"_s, item.path}, {u"since"_s, dates::iso(item.since)}});
    }
    if (const auto written = writeFileAtomically(m_file, QJsonDocument(items).toJson()); !written) {
        AppLog::error(u"sessions"_s, written.error().message);
    }
}

}  // namespace lumbro
