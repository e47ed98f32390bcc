#pragma once

#include "meetings/formats/PrepEvent.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace lumbro {

class ContextLibrary;
class MemoryStore;
struct CaptureRecord;
struct MemoryEntity;

/// What an agent is told of a meeting to write the brief for it. Main thread; reads files.
class PrepInput {
  public:
    /// Both must outlive it.
    PrepInput(const ContextLibrary& library, const MemoryStore& memory)
        : m_library(library), m_memory(memory) {}

    /// The input's text: the meeting, its people, the promises between them, and the last captures with them.
    QString text(const PrepEvent& event) const;

    /// The page of an attendee, found by address before name.
    std::optional<MemoryEntity> person(const PrepEvent::Attendee& attendee) const;
    /// The last captures, at most 3, that one of the attendees took part in or that one of the pages leads
    /// to; newest first, no briefs.
    QList<CaptureRecord> relatedCaptures(const PrepEvent& event, const QStringList& slugs) const;

  private:
    QString captureText(const CaptureRecord& record) const;

    const ContextLibrary& m_library;
    const MemoryStore& m_memory;
};

}  // namespace lumbro
