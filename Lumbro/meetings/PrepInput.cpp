#include "meetings/PrepInput.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "library/ContextLibrary.h"
#include "memory/MemoryStore.h"

#include <QSet>

#include <algorithm>

namespace lumbro {

namespace {

constexpr qsizetype mostOfPage = 4000;
constexpr qsizetype mostOfCapture = 6000;
constexpr qsizetype mostCaptures = 3;
/// Event notes of whole mail threads say less than the memory does.
constexpr qsizetype mostOfNotes = 6000;

QString meetingSection(const PrepEvent& event) {
    const qint64 minutes = event.start.secsTo(event.end) / 60;
    QString text = u"# MEETING: %1\nWhen: %2, %3 min"_s.arg(event.title, dates::readable(event.start),
                                                            QString::number(std::max<qint64>(minutes, 0)));
    if (!event.attendees.isEmpty()) {
        text += u"\nAttendees: "_s + event.attendeeNames().join(u", "_s);
    }
    if (const QString notes = event.notes.trimmed(); !notes.isEmpty()) {
        text += u"\n\n"_s + firstCharacters(notes, mostOfNotes);
    }
    return text;
}

QString page(const MemoryEntity& person) {
    return person.name + u" (memory/people/%1.md)\n"_s.arg(person.id) +
           firstCharacters(readTextFile(person.url).value_or(QString()).trimmed(), mostOfPage);
}

QString lines(const TranscriptSegments& segments) {
    QStringList told;
    for (const TranscriptSegment& paragraph : transcript::merged(segments)) {
        told.append(transcript::line(paragraph));
    }
    return told.join(u'\n');
}

QString orNone(const QString& text) {
    return text.isEmpty() ? u"(none)"_s : text;
}

QSet<QString> comparables(const QStringList& words) {
    QSet<QString> found;
    for (const QString& word : words) {
        found.insert(comparable(word));
    }
    return found;
}

bool hasAnyOf(const QStringList& words, const QSet<QString>& wanted) {
    return std::ranges::any_of(words, [&wanted](const QString& word) {
        return !word.isEmpty() && wanted.contains(comparable(word));
    });
}

}  // namespace

QString PrepInput::text(const PrepEvent& event) const {
    QStringList people;
    QStringList promises;
    QStringList slugs;
    for (const PrepEvent::Attendee& attendee : event.attendees) {
        const auto known = person(attendee);
        if (!known) {
            people << attendee.name + u" (no memory file yet)"_s;
        } else if (!slugs.contains(known->id)) {
            slugs << known->id;
            people << page(*known);
        }
    }
    QSet<QString> told;
    for (const QString& slug : std::as_const(slugs)) {
        for (const PromiseItem& promise : m_memory.promisesInvolving(slug)) {
            if (!promise.done && !told.contains(promise.id)) {
                told.insert(promise.id);
                promises << u"- %1 → %2: %3"_s.arg(WikiLink::plain(promise.owner),
                                                   WikiLink::plain(promise.recipient), promise.text);
            }
        }
    }
    QStringList captures;
    for (const CaptureRecord& record : relatedCaptures(event, slugs)) {
        captures << captureText(record);
    }
    return QStringList{meetingSection(event),
                       u"# WHAT MY MEMORY KNOWS ABOUT THEM\n"_s + orNone(people.join(u"\n\n"_s)),
                       u"# OPEN PROMISES WITH THEM\n"_s + orNone(promises.join(u'\n')),
                       u"# MY LAST CAPTURES WITH THEM\n"_s + orNone(captures.join(u"\n\n"_s))}
        .join(u"\n\n"_s);
}

std::optional<MemoryEntity> PrepInput::person(const PrepEvent::Attendee& attendee) const {
    const QList<MemoryEntity>& people = m_memory.people();
    auto found = people.end();
    if (!attendee.email.isEmpty()) {
        found = std::ranges::find_if(people, [&attendee](const MemoryEntity& person) {
            return person.emails.contains(attendee.email, Qt::CaseInsensitive);
        });
    }
    if (found == people.end()) {
        found = std::ranges::find_if(people, [name = comparable(attendee.name)](const MemoryEntity& person) {
            return comparable(person.name) == name;
        });
    }
    if (found != people.end()) {
        return *found;
    }
    return m_memory.entity(MemoryEntity::Kind::person, slugified(attendee.name));
}

QList<CaptureRecord> PrepInput::relatedCaptures(const PrepEvent& event, const QStringList& slugs) const {
    QSet<QString> leadTo;
    for (const QString& slug : slugs) {
        for (const CaptureRecord& record : m_memory.capturesWith(slug)) {
            leadTo.insert(record.id());
        }
    }
    const QSet<QString> names = comparables(event.attendeeNames());
    const QSet<QString> emails = comparables(event.attendeeEmails());
    QList<CaptureRecord> related;
    for (const CaptureRecord& record : m_library.captures()) {
        const CaptureMeta& meta = record.meta;
        const bool isBrief = meta.kind == CaptureKind::prep;
        if (!isBrief &&
            (leadTo.contains(record.id()) || hasAnyOf(meta.attendees.value_or(QStringList()), names) ||
             hasAnyOf(meta.attendeeEmails.value_or(QStringList()), emails))) {
            related.append(record);
        }
    }
    std::ranges::stable_sort(related, std::ranges::greater(),
                             [](const CaptureRecord& record) { return record.meta.startedAt; });
    related.resize(std::min(related.size(), mostCaptures));
    return related;
}

QString PrepInput::captureText(const CaptureRecord& record) const {
    const QMap<QString, QString> handoffs = m_library.handoffs(record);
    QStringList parts{u"# CAPTURE: %1 (%2)"_s.arg(record.meta.title, dates::readable(record.meta.startedAt))};
    const auto add = [&parts](const QString& heading, const QString& text) {
        if (const QString trimmed = text.trimmed(); !trimmed.isEmpty()) {
            parts << heading + u'\n' + firstCharacters(trimmed, mostOfCapture);
        }
    };
    add(u"## NOTES"_s, handoffs.value(u"notes"_s));
    add(u"## FOLLOWUP"_s, handoffs.value(u"followup"_s));
    const QString own = m_library.notes(record);
    if (!own.trimmed().isEmpty()) {
        add(u"## MY NOTES"_s, own);
    } else {
        add(u"## TRANSCRIPT"_s, lines(m_library.segments(record)));
    }
    return parts.join(u'\n');
}

}  // namespace lumbro
