#include "LumbroCore/AppLog.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Dates.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include <syslog.h>

namespace lumbro {

namespace {

void writeToSystemLog(const QString& level, const QString& tag, const QString& message) {
    static const bool opened = [] {
        openlog("app.quillet.handoff", LOG_PID, LOG_USER);
        return true;
    }();
    Q_UNUSED(opened)
    syslog(level == QLatin1String("ERROR") ? LOG_ERR : LOG_INFO, "%s [%s] %s", qUtf8Printable(level),
           qUtf8Printable(tag), qUtf8Printable(message));
}

void append(const QByteArray& line) {
    QFile file(AppLog::url());
    if (file.open(QIODevice::WriteOnly | QIODevice::Append | QIODevice::Unbuffered)) {
        file.write(line);
    }
}

struct Entry {
    QString level;
    QString tag;
    QString message;
    QString line;
};

/// One thread, so that lines keep their order.
class Writer {
  public:
    /// Never destroyed: other threads may log until the very end of the process.
    static Writer& shared() {
        static auto* const writer = new Writer;
        return *writer;
    }

    void add(Entry entry) {
        {
            const std::scoped_lock lock(m_lock);
            m_waiting.push_back(std::move(entry));
        }
        m_changed.notify_all();
    }
    void flush() {
        std::unique_lock lock(m_lock);
        m_changed.wait(lock, [this] { return m_waiting.empty() && !m_writing; });
    }

  private:
    Writer() {
        std::thread([this] { run(); }).detach();
        std::atexit([] { shared().flush(); });
    }
    void run() {
        std::unique_lock lock(m_lock);
        while (true) {
            m_changed.wait(lock, [this] { return !m_waiting.empty(); });
            const auto entries = std::exchange(m_waiting, {});
            m_writing = true;
            lock.unlock();
            for (const Entry& entry : entries) {
                writeToSystemLog(entry.level, entry.tag, entry.message);
                append(entry.line.toUtf8());
            }
            lock.lock();
            m_writing = false;
            m_changed.notify_all();
        }
    }

    std::mutex m_lock;
    std::condition_variable m_changed;
    std::vector<Entry> m_waiting;
    bool m_writing = false;
};

}  // namespace

void AppLog::write(const QString& level, const QString& tag, const QString& message) {
    const QString line = dates::logStamp(QDateTime::currentDateTime()) + u' ' + level + u" ["_s + tag +
                         u"] "_s + message + u'\n';
    Writer::shared().add({level, tag, message, line});
}

void AppLog::errorOnce(const QString& tag, const QString& message, const QDateTime& since) {
    constexpr qint64 mostRead = qint64(64) * 1024;
    const QByteArray said = QString(u" ERROR ["_s + tag + u"] "_s + message).toUtf8();
    const QByteArray from = dates::logStamp(since).toUtf8();
    QFile file(url());
    if (QFileInfo(file).isFile() && file.open(QIODevice::ReadOnly)) {
        file.seek(std::max(qint64(0), file.size() - mostRead));
        const auto lines = file.read(mostRead).split('\n');
        if (std::ranges::any_of(
                lines, [&](const QByteArray& line) { return line.endsWith(said) && line >= from; })) {
            return;
        }
    }
    error(tag, message);
}

QString AppLog::url() {
    const QString folder = QDir::homePath() + u"/Library/Logs/Quillet"_s;
    makePrivateFolder(folder);
    return folder + u"/handoff.log"_s;
}

void AppLog::flush() {
    Writer::shared().flush();
}

}  // namespace lumbro
