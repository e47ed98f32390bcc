#include "ask/formats/AskInput.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"
#include "ask/formats/AskPrompt.h"

#include <algorithm>

namespace lumbro {

namespace {

constexpr qsizetype toldTurns = 4;

QString conversation(const QList<AskTurn>& turns) {
    QStringList told;
    for (const AskTurn& turn : turns.last(std::min(toldTurns, turns.size()))) {
        const QString said = turn.engine ? u"(ran the %1 engine)"_s.arg(*turn.engine) : turn.question;
        told << u"Me: "_s + said + u"\nLumbro: "_s + turn.answer;
    }
    return told.join(u"\n\n"_s);
}

QString words(const TranscriptSegments& segments) {
    QStringList lines;
    for (const TranscriptSegment& segment : transcript::merged(segments)) {
        lines << transcript::line(segment);
    }
    return lines.isEmpty() ? u"(nothing said yet)"_s : lines.join(u'\n');
}

QString meetingLines(const QList<AskMeeting>& meetings) {
    QStringList lines;
    for (const AskMeeting& meeting : meetings) {
        QString line = u"- "_s + meeting.title + u", "_s + dates::readable(meeting.start) + u", with "_s +
                       meeting.names.join(u", "_s);
        if (meeting.brief) {
            line += u" · brief: captures/"_s + *meeting.brief + u"/handoffs/prep.md"_s;
        }
        lines << line;
    }
    return lines.join(u'\n');
}

QString capitalized(const QString& words) {
    QString text = words.toLower();
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (i == 0 || text.at(i - 1).isSpace()) {
            text[i] = text.at(i).toUpper();
        }
    }
    return text;
}

}  // namespace

QString AskInput::text() const {
    QStringList sections{u"QUESTION: "_s + question.trimmed()};
    if (!turns.isEmpty()) {
        sections << u"## CONVERSATION SO FAR\n"_s + conversation(turns);
    }
    if (live) {
        sections << u"## LIVE CALL (in progress, folder "_s + live->folder + u")\n"_s + words(live->segments);
    }
    if (!scopeBlock.isEmpty()) {
        sections << scopeBlock;
    }
    if (engine) {
        sections << engineBlock(*engine, voice);
    }
    sections << u"## APPS I CAN ACT IN\n"_s + apps.join(u", "_s) << calendar;
    if (!meetings.isEmpty()) {
        sections << u"## MY NEXT MEETINGS\n"_s + meetingLines(meetings);
    }
    return sections.join(u"\n\n"_s);
}

QString AskInput::engineBlock(const Engine& engine, const std::optional<Voice>& voice) {
    QString block = u"## ENGINE: "_s + engine.name + u'\n' + engine.prompt;
    if (engine.result.kind == EngineResult::Kind::action) {
        const QString& app = engine.result.app;
        block += u"\n\nThis run prepares something for "_s + capitalized(app) + u". "_s +
                 askPrompt::formatFor(app) + u" Then end with the line `ACTION: "_s + app +
                 u"` and the SOURCES line."_s;
    }
    if (engine.usesVoice && voice) {
        block += u"\n\n## VOICE: "_s + voice->name + u'\n' + voice->body.trimmed();
    }
    return block;
}

}  // namespace lumbro
