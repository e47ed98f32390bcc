#pragma once

#include "LumbroCore/AppLog.h"
#include "LumbroCore/Literals.h"
#include "library/ContextLibrary.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/TestClock.h"

#include <QDateTime>
#include <QFile>
#include <QObject>

#include <gtest/gtest.h>

namespace lumbro::test {

/// Counts how often a signal was raised.
class SignalCounter {
  public:
    template <typename Sender, typename Signal>
    SignalCounter(const Sender* sender, Signal signal) {
        QObject::connect(sender, signal, &m_context, [this] { ++m_count; });
    }
    int count() const { return m_count; }

  private:
    QObject m_context;
    int m_count = 0;
};

/// A library in a folder of its own, without built-in engines unless a test puts some into "built-ins".
class LibraryTest : public ::testing::Test {
  protected:
    static QDateTime at(int hour, int minute, int second = 0) {
        return QDateTime(QDate(2026, 3, 2), QTime(hour, minute, second));
    }
    static TranscriptSegment says(Speaker speaker, double start, const QString& text) {
        return {QUuid::createUuid(), speaker, start, text};
    }
    /// A `meta.json` of a capture that began at 14:30 local time.
    static QByteArray meta(const char* kind, bool ended = true) {
        return QByteArray("{\"title\":\"T\",\"kind\":\"") + kind +
               "\",\"startedAt\":\"2026-03-02T13:30:00Z\",\"sources\":[\"mic\"]" +
               (ended ? ",\"endedAt\":\"2026-03-02T14:00:00Z\"}" : "}");
    }
    /// Puts a capture's folder on disk as another process would have left it.
    void put(const QString& id, const QByteArray& metaBytes) const {
        m_folder.write(u"captures/"_s + id + u"/meta.json"_s, metaBytes);
    }
    QString capture(const QString& id, const QString& file = {}) const {
        return u"captures/"_s + id + (file.isEmpty() ? QString() : u'/' + file);
    }
    static bool changeDate(const QString& path, const QDateTime& date) {
        QFile file(path);
        return file.open(QIODevice::ReadWrite) && file.setFileTime(date, QFileDevice::FileModificationTime);
    }
    QString log() const {
        AppLog::flush();
        return QString::fromUtf8(readFile(AppLog::url()).value_or(QByteArray()));
    }

    ScratchFolder m_folder;
    TestClock m_clock;
    ContextLibrary m_library{m_folder.path(), m_clock, {}, m_folder.path(u"built-ins"_s)};
};

}  // namespace lumbro::test
