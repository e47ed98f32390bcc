#include "ask/formats/AskPrompt.h"

#include "LumbroCore/Dates.h"
#include "LumbroCore/Literals.h"

#include <QStringList>

#include <algorithm>

namespace lumbro::askPrompt {

namespace {

constexpr qsizetype toldMeetings = 12;

}  // namespace

QString systemPrompt() {
    return QStringLiteral(
        u"You are Lumbro, the user's memory. The user is \"Me\". The current directory is their Lumbro "
        u"library:\n"
        u"- memory/people/*.md, memory/projects/*.md, memory/promises.md, memory/ideas.md\n"
        u"- captures/<folder>/transcript.md, notes.md, meta.json, handoffs/*.md (one folder per call or "
        u"capture)\n"
        u"- captures/<folder>/session.md: my Claude Code chats for one project on one day (folders named "
        u"*-session*). Each session line has its id; `claude --resume <id>` reopens it.\n"
        u"Search the files (Grep and Glob, or rg and find), then read only what you need. A LIVE CALL "
        u"section in the input, if present, is the call happening right now.\n"
        u"A THIS CAPTURE, THIS PERSON, THIS COMPANY or THIS PROJECT section, if present, names what the "
        u"question is about. Start there.\n"
        u"An ENGINE section, if present, is a saved prompt the user ran. Follow its instructions for this "
        u"request, on what the sections above point to.\n"
        u"CONVERSATION SO FAR, if present, holds earlier turns of this chat. Use it to understand "
        u"follow-ups like \"what about her?\" or \"draft it\".\n"
        u"If asked to prep for a call or meeting: use MY NEXT MEETINGS if present (or else my latest "
        u"meeting captures), read the people files of who's involved, their last captures, and open "
        u"promises. Answer with: where we left off, their priorities, open loops, and 3 questions to ask. "
        u"Keep it short.\n"
        u"If I ask you to create, add, send, draft, remind, book or schedule something in an app: you can't "
        u"do it yourself, but Lumbro can after I confirm. So prepare it in full, and write nothing else:\n"
        u"tasks as one line each, `- [ ] Me — task (due YYYY-MM-DD)` (an exact date; leave the due part out "
        u"if I gave no day), using the owner's name instead of Me when it's someone else's; an email as a "
        u"**Subject:** line, then the body.\n"
        u"A meeting or a block of time (Calendar) as exactly these lines. Pick a time from MY FREE TIMES "
        u"unless I named one; if I named a day, use the first free time that day:\n"
        u"**Event:** <short title>\n"
        u"**When:** <YYYY-MM-DD HH:MM, 24-hour, my time>\n"
        u"**Length:** <minutes> min\n"
        u"**With:** <Name <email>, …> (emails from memory files when known; leave this line out if it's "
        u"just me)\n"
        u"A message or page for a work app: the text, ready to send.\n"
        u"Then add a line `ACTION: <app>`, where <app> is one of APPS I CAN ACT IN (lowercase). If I don't "
        u"name an app, pick the best one: Reminders for \"remind me\", Calendar for meetings. If the app I "
        u"name is not in that list, say so and don't add the line.\n"
        u"Otherwise answer in 1-4 short sentences or a short list. Be specific: names, numbers, dates. If "
        u"the files don't say, say so plainly.\n"
        u"End with one last line: SOURCES: followed by up to 3 capture folder names or memory file paths "
        u"you used, comma separated.");
}

QString instruction() {
    return u"Answer the question in stdin from my Lumbro library."_s;
}

QString formatFor(const QString& app) {
    const QString word = app.toLower();
    if (word.contains(u"remind")) {
        return u"Write only the tasks, one line each: `- [ ] Owner — task (due YYYY-MM-DD)`, mine first. "
               u"Leave out anything else the engine asks for."_s;
    }
    if (word == u"mail" || word == u"email") {
        return u"Write only the email: a **Subject:** line, then the body, ready to send. Leave out anything "
               u"else the engine asks for."_s;
    }
    if (word == u"calendar") {
        return u"Write only the event, as the **Event:**, **When:**, **Length:** and **With:** lines. Leave "
               u"out "
               u"anything else the engine asks for."_s;
    }
    return u"Write only the text for that app, ready to send, in the format for app requests above."_s;
}

QString captureBlock(const CaptureRecord& record) {
    const bool isSession = record.meta.kind == CaptureKind::session;
    return u"## THIS CAPTURE\nThe question is about captures/%1/ (\"%2\", %3). %4 Look at other files only "
           u"if "
           u"the question needs them."_s.arg(
               record.id(), record.meta.title, dates::readable(record.meta.startedAt),
               isSession ? u"Read its session.md first."_s : u"Read its transcript.md and notes.md first."_s);
}

QString personBlock(const QString& slug, const QString& name, const QList<PromiseItem>& promises) {
    QStringList lines{
        u"## THIS PERSON"_s,
        u"The question is about %1: memory/people/%2.md. Read it first, then the captures it links to."_s.arg(
            name, slug)};
    for (const PromiseItem& promise : promises) {
        if (promise.done) {
            continue;
        }
        if (lines.size() == 2) {
            lines << u"Open promises with them:"_s;
        }
        lines << u"- "_s + WikiLink::plain(promise.owner) + u" → "_s + WikiLink::plain(promise.recipient) +
                     u": "_s + promise.text;
    }
    return lines.join(u'\n');
}

QString companyBlock(const Company& company) {
    QStringList people;
    for (const QString& slug : company.personSlugs) {
        people << u"memory/people/"_s + slug + u".md"_s;
    }
    QStringList meetings;
    for (const QString& id : company.captureIDs.first(std::min(toldMeetings, company.captureIDs.size()))) {
        meetings << u"captures/"_s + id + u'/';
    }
    QString block =
        u"## THIS COMPANY\nThe question is about "_s + company.name + u" ("_s + company.domain + u")."_s;
    if (!people.isEmpty()) {
        block += u"\nPeople there: "_s + people.join(u", "_s);
    }
    if (!meetings.isEmpty()) {
        block += u"\nMeetings with them: "_s + meetings.join(u", "_s);
    }
    return block;
}

QString projectBlock(const QString& slug, const QString& name) {
    return u"## THIS PROJECT\nThe question is about %1: memory/projects/%2.md. Read it first, then the "
           u"captures it "
           u"links to."_s.arg(name, slug);
}

QString unknownCompanyBlock(const QString& domain) {
    return u"## THIS COMPANY\nThe question is about the company at %1. Find people and captures with @%1 emails."_s
        .arg(domain);
}

}  // namespace lumbro::askPrompt
