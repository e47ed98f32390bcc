#pragma once

#include "chats/formats/ChatLine.h"
#include "chats/formats/LineMarks.h"
#include "chats/formats/SessionEntry.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

namespace lumbro {

/// Makes the entries of one transcript from its lines, handed in one after the other. Of a turn's many
/// answers only the last is kept, so none is read before the turn is over. One thread.
class ChatTurns {
  public:
    /// The bytes at a place of the transcript, fewer when it has become shorter.
    using Fetch = std::function<QByteArray(qint64 offset, qint64 size)>;

    /// The longest texts of an entry; characters.
    static constexpr qsizetype maxPrompt = 1200;
    static constexpr qsizetype maxReply = 900;

    /// `session` is the chat's id where a line names none.
    ChatTurns(QString session, Fetch fetch);

    /// A line that may be a turn, whole.
    void take(QByteArrayView line, qint64 offset);
    /// A line that may be an answer.
    void takeAnswer(qint64 offset, qint64 size);
    /// The entries; call once.
    SessionEntries finish();

  private:
    struct Place {
        qint64 offset = 0;
        qint64 size = 0;
    };

    void takePrompt(const ChatLine& line);
    void takeTitle(const ChatLine& line);
    void endTurn();

    QString m_session;
    /// The last line's folder, as it stands and as it is kept.
    QString m_rawFolder;
    QString m_folder;
    Fetch m_fetch;
    SessionEntries m_entries;
    std::vector<Place> m_answers;
    std::optional<QString> m_title;
};

}  // namespace lumbro
