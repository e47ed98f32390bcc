#include "cli/CaptureText.h"

#include "LumbroCore/Dates.h"
#include "chats/formats/SessionLog.h"
#include "cli/Table.h"
#include "library/CaptureLock.h"

namespace lumbro::cli {

namespace {

QString heading(const Output& output, const QString& text) {
    return u'\n' + output.styled(u"## "_s + text, Look::bold) + u"\n\n"_s;
}

QString block(const QString& text) {
    return Output::cleanLines(text.trimmed()) + u'\n';
}

}  // namespace

QString lengthText(const CaptureRecord& record) {
    const CaptureMeta& meta = record.meta;
    if (meta.endedAt) {
        return durationText(meta.startedAt.secsTo(*meta.endedAt));
    }
    return CaptureLock::isHeld(record.folder) ? u"recording"_s : u"cut off"_s;
}

QString captureTable(const Output& output, const QList<CaptureSummary>& summaries) {
    QList<QStringList> rows;
    rows.reserve(summaries.size());
    for (const CaptureSummary& summary : summaries) {
        const CaptureMeta& meta = summary.record.meta;
        rows += {summary.record.id(), Output::clean(meta.title), lengthText(summary.record),
                 summary.words == 0 ? QString() : QString::number(summary.words),
                 Output::clean(summary.handoffs.join(u", "_s))};
    }
    return table(output,
                 {{u"ID"_s, false, false, Look::accent},
                  {u"TITLE"_s, false, true, Look::bold},
                  {u"LENGTH"_s, true},
                  {u"WORDS"_s, true},
                  {u"RESULTS"_s, false, true, Look::good}},
                 rows);
}

QString transcriptText(const Output& output, const TranscriptSegments& paragraphs) {
    QString text;
    for (const TranscriptSegment& paragraph : paragraphs) {
        const Look look = paragraph.speaker == Speaker::me ? Look::accent : Look::good;
        text += output.styled(u'[' + transcript::timestamp(paragraph.start) + u']', Look::dim) + u' ' +
                output.styled(rawValue(paragraph.speaker) + u':', look) + u' ' +
                Output::clean(paragraph.text) + u'\n';
    }
    return text;
}

QString captureText(const Output& output, const CaptureDetails& details) {
    const CaptureMeta& meta = details.summary.record.meta;
    QString text = output.styled(u"# "_s + Output::clean(meta.title), Look::bold) + u"\n\n"_s;
    QStringList facts{rawValue(meta.kind), dates::readable(meta.startedAt),
                      lengthText(details.summary.record)};
    facts += meta.kind == CaptureKind::session ? counted(details.entries.size(), u"request"_s, u"requests"_s)
                                               : counted(details.summary.words, u"word"_s, u"words"_s);
    if (meta.attendees && !meta.attendees->isEmpty()) {
        facts += u"with "_s + Output::clean(meta.attendees->join(u", "_s));
    }
    text += facts.join(u" · "_s) + u'\n';
    text += output.styled(details.summary.record.folder, Look::dim) + u'\n';
    if (!details.entries.isEmpty()) {
        // Without its title, which stands above.
        const QString log = SessionLog::markdown(details.entries, {});
        text += u'\n' + block(log.sliced(log.indexOf(u'\n')));
    }
    for (auto it = details.handoffs.begin(); it != details.handoffs.end(); ++it) {
        text += heading(output, u"Result of "_s + Output::clean(it.key())) + block(it.value());
    }
    if (!details.notes.trimmed().isEmpty()) {
        text += heading(output, u"My notes"_s) + block(details.notes);
    }
    if (!details.paragraphs.isEmpty()) {
        text += heading(output, u"Transcript"_s) + transcriptText(output, details.paragraphs);
    }
    return text;
}

QString mayLackWordsText(const CaptureDetails& details) {
    const QString sentence = u"Words may be missing at the end: Lumbro was ended before they were complete"_s;
    QStringList files = details.audio.values();
    if (files.isEmpty()) {
        return sentence + u", and it has no audio."_s;
    }
    for (QString& file : files) {
        file = u"'"_s + file.replace(u'\'', u"'\\''"_s) + u"'"_s;
    }
    return sentence + u"; `lumbro import %1` listens to its audio again."_s.arg(files.join(u" --them "_s));
}

}  // namespace lumbro::cli
