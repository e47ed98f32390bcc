#pragma once

#include "LumbroCore/Settings.h"
#include "memory/MemoryStore.h"
#include "tests/library/LibraryFixture.h"

#include <QFileInfo>
#include <QRegularExpression>

namespace lumbro::test {

/// A memory in a library of its own; now is 2 March 2026, a Monday.
class MemoryTest : public LibraryTest {
  protected:
    static CaptureRecord meeting(const QString& title = u"Weekly sync"_s) {
        CaptureRecord record{.folder = u"/captures/2026-03-02-1430-meeting"_s, .meta = {}};
        record.meta.title = title;
        record.meta.startedAt = at(14, 30);
        return record;
    }
    static LibrarianOps::Entity entity(const QString& name) {
        LibrarianOps::Entity entity;
        entity.name = name;
        return entity;
    }
    static LibrarianOps::Promise promise(const QString& owner, const QString& text) {
        LibrarianOps::Promise promise;
        promise.owner = owner;
        promise.text = text;
        return promise;
    }
    QByteArray file(const QString& name) const { return m_folder.read(u"memory/"_s + name); }
    void put(const QString& name, const QByteArray& bytes) const {
        m_folder.write(u"memory/"_s + name, bytes);
    }
    /// The file with the six digits of every new id as "x".
    QByteArray withoutIds(const QString& name) const {
        static const QRegularExpression digits(u"\\^([pi])-[0-9a-f]{6}"_s);
        return QString::fromUtf8(file(name)).replace(digits, u"^\\1-x"_s).toUtf8();
    }

    Settings m_settings{m_folder.path(u"settings.ini"_s)};
    MemoryStore m_store{m_library, m_clock, m_settings};
};

}  // namespace lumbro::test
