#include "library/NoteDraft.h"

#include "LumbroCore/AppLog.h"
#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Literals.h"
#include "library/BrokenFiles.h"

#include <QFileInfo>
#include <QHash>

#include <utility>

namespace lumbro {

namespace {

QHash<QString, std::weak_ptr<NoteDraft>>& liveDrafts() {
    static QHash<QString, std::weak_ptr<NoteDraft>> drafts;
    return drafts;
}

}  // namespace

std::shared_ptr<NoteDraft> NoteDraft::of(const CaptureRecord& record, Clock& clock) {
    auto& drafts = liveDrafts();
    if (auto known = drafts.value(record.folder).lock()) {
        return known;
    }
    drafts.removeIf([](const auto& entry) { return entry.value().expired(); });
    std::shared_ptr<NoteDraft> draft(new NoteDraft(record, clock));
    drafts[record.folder] = draft;
    return draft;
}

NoteDraft::NoteDraft(CaptureRecord record, Clock& clock)
    : m_record(std::move(record)), m_clock(clock), m_text(readNotes()) {}

QString NoteDraft::readNotes() const {
    return readTextFile(path()).value_or(QString());
}

void NoteDraft::setText(const QString& text) {
    if (text == m_text) {
        return;
    }
    m_text = text;
    if (!m_loading) {
        write();
        m_edited = m_clock.elapsed();
    }
    Q_EMIT textChanged();
}

void NoteDraft::write() {
    // Notes that we could not read as text would be lost with the first keystroke.
    if (!readTextFile(path()) && QFileInfo::exists(path())) {
        BrokenFiles::keepCopy(path());
    }
    const auto written = writeFileAtomically(path(), m_text.toUtf8());
    if (!written) {
        AppLog::error(u"library"_s, m_record.id() + u": "_s + written.error().message);
    }
    setSaved(written.has_value());
}

void NoteDraft::setSaved(bool saved) {
    if (saved != m_saved) {
        m_saved = saved;
        Q_EMIT savedChanged();
    }
}

void NoteDraft::refresh() {
    using namespace std::chrono_literals;
    if (m_edited && m_clock.elapsed() - *m_edited <= 2s) {
        return;
    }
    const QString onDisk = readNotes();
    if (onDisk == m_text) {
        return;
    }
    m_loading = true;
    setText(onDisk);
    m_loading = false;
}

}  // namespace lumbro
