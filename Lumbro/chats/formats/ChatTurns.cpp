#include "chats/formats/ChatTurns.h"

#include "LumbroCore/Literals.h"
#include "LumbroCore/Text.h"
#include "chats/formats/ChatText.h"

#include <QUuid>

#include <ranges>
#include <utility>

namespace lumbro {

namespace {

/// Years that can be written in four digits, also a minute or a time zone later.
bool isInReach(int year) {
    constexpr int first = 1970;
    constexpr int last = 9998;
    return year >= first && year <= last;
}

/// The same line gets the same id each time that it is read.
QString madeID(const SessionEntry& entry) {
    const QString name =
        entry.session + u'\n' + QString::number(entry.time.toSecsSinceEpoch()) + u'\n' + entry.prompt;
    return QUuid::createUuidV5(QUuid(), name).toString(QUuid::WithoutBraces);
}

}  // namespace

ChatTurns::ChatTurns(QString session, Fetch fetch)
    : m_session(chatText::tidyName(std::move(session))), m_fetch(std::move(fetch)) {}

void ChatTurns::take(QByteArrayView line, qint64 offset) {
    const auto parsed = ChatLine::parse(line);
    if (!parsed || parsed->isSidechain) {
        return;
    }
    switch (parsed->type) {
        case ChatLine::Type::user:
            takePrompt(*parsed);
            break;
        case ChatLine::Type::assistant:
            takeAnswer(offset, line.size());
            break;
        case ChatLine::Type::customTitle:
        case ChatLine::Type::foundTitle:
            takeTitle(*parsed);
            break;
        case ChatLine::Type::other:
            break;
    }
}

void ChatTurns::takeAnswer(qint64 offset, qint64 size) {
    if (!m_entries.isEmpty()) {
        m_answers.push_back({offset, size});
    }
}

void ChatTurns::takePrompt(const ChatLine& line) {
    if (!line.prompt || !line.time || !isInReach(line.time->date().year())) {
        return;
    }
    const QString prompt = chatText::tidy(*line.prompt);
    if (prompt.isEmpty() || prompt.startsWith(u'<') || prompt.startsWith(u"[Request interrupted by user")) {
        return;
    }
    endTurn();
    if (line.folder != m_rawFolder) {
        m_rawFolder = line.folder;
        m_folder = chatText::tidyName(line.folder);
    }
    SessionEntry entry{
        .id = chatText::tidyName(line.id) == line.id ? line.id : QString(),
        .session = line.session.isEmpty() ? m_session : chatText::tidyName(line.session),
        .title = {},
        .project = {},
        .folder = m_folder,
        .time = *line.time,
        .prompt = firstCharacters(prompt, maxPrompt),
        .reply = {},
    };
    if (entry.id.isEmpty()) {
        entry.id = madeID(entry);
    }
    m_entries.append(std::move(entry));
}

void ChatTurns::takeTitle(const ChatLine& line) {
    const bool isTaken = line.type == ChatLine::Type::customTitle || !m_title;
    const QString title = isTaken ? chatText::tidyName(line.title) : QString();
    if (!title.isEmpty()) {
        m_title = title;
    }
}

void ChatTurns::endTurn() {
    for (const Place& place : m_answers | std::views::reverse) {
        const auto line = ChatLine::parse(m_fetch(place.offset, place.size), ChatLine::Part::answer);
        if (!line || line->isSidechain || line->type != ChatLine::Type::assistant) {
            continue;
        }
        const QString reply = chatText::tidy(line->answer);
        if (!reply.isEmpty()) {
            m_entries.last().reply = firstCharacters(reply, maxReply);
            break;
        }
    }
    m_answers.clear();
}

SessionEntries ChatTurns::finish() {
    endTurn();
    if (m_title) {
        for (SessionEntry& entry : m_entries) {
            entry.title = m_title;
        }
    }
    return std::move(m_entries);
}

}  // namespace lumbro
