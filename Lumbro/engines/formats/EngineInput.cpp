#include "engines/formats/EngineInput.h"

#include "LumbroCore/AtomicFile.h"
#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"

#include <QStringList>

#include <algorithm>

namespace lumbro {

namespace {

QString title(const CaptureMeta& meta) {
    QString duration;
    if (meta.endedAt) {
        const qint64 minutes = std::max<qint64>(1, meta.startedAt.secsTo(*meta.endedAt) / 60);
        duration = u" · %1 min"_s.arg(minutes);
    }
    return u"# CAPTURE: "_s + meta.title + u" ("_s + dates::readable(meta.startedAt) + duration + u')';
}

QString chats(const CaptureRecord& record) {
    // The end of a long chat matters most.
    constexpr qsizetype limit = 40'000;
    return u"## CLAUDE CODE SESSIONS (my chats with an AI coding agent)\n"_s +
           lastCharacters(readTextFile(record.path(u"session.md"_s)).value_or(QString()), limit);
}

QString transcriptLines(const TranscriptSegments& segments) {
    QStringList lines;
    for (const TranscriptSegment& paragraph : transcript::merged(segments)) {
        lines.append(transcript::line(paragraph));
    }
    return lines.join(u'\n');
}

}  // namespace

QString EngineInput::build(const CaptureRecord& record, const TranscriptSegments& segments,
                           const QString& notes) {
    const QString ownNotes = notes.trimmed();
    QStringList sections{title(record.meta),
                         u"## MY NOTES\n"_s + (ownNotes.isEmpty() ? u"(none)"_s : ownNotes)};
    const QString screen = readTextFile(record.path(u"screen.md"_s)).value_or(QString());
    if (!screen.isEmpty()) {
        sections.append(u"## SCREEN TEXT (from a screenshot)\n"_s + screen);
    }
    if (record.meta.kind == CaptureKind::session) {
        sections.append(chats(record));
    } else if (!segments.isEmpty()) {
        sections.append(u"## TRANSCRIPT\n"_s + transcriptLines(segments));
    } else if (record.meta.kind != CaptureKind::screenshot) {
        sections.append(u"## TRANSCRIPT\n(empty)"_s);
    }
    return sections.join(u"\n\n"_s);
}

bool EngineInput::wantsCalendar(const Engine& engine) {
    return engine.prompt.contains(u"MY FREE TIMES");
}

QString EngineInput::extras(const Engine& engine, const QString& calendarContext) {
    return calendarContext.isEmpty() || !wantsCalendar(engine) ? QString() : u"\n\n"_s + calendarContext;
}

std::chrono::milliseconds EngineInput::timeout(const Engine& engine) {
    constexpr double usual = 600;
    constexpr double longest = 7 * 24 * 3600;
    const double wanted = engine.timeout.value_or(usual);
    const double seconds = wanted > 0 ? std::min(wanted, longest) : usual;
    return std::chrono::milliseconds(std::max<qint64>(1, qint64(seconds * 1000)));
}

QString EngineInput::systemPrompt(const Engine& engine, const std::optional<Voice>& voice) {
    QString prompt = engine.prompt;
    if (engine.usesVoice && voice) {
        prompt += u"\n\n# VOICE: "_s + voice->name + u'\n' + voice->body;
    }
    return prompt + u"\n\nOutput clean markdown only. No preamble, no closing remarks."_s;
}

}  // namespace lumbro
