#pragma once

#include "chats/ClaudeChatReader.h"
#include "chats/formats/ChatTurns.h"
#include "chats/formats/LineMarks.h"
#include "chats/formats/SessionEntry.h"

#include <QByteArray>
#include <QString>

#include <vector>

namespace lumbro {

/// Walks over the lines of one transcript. It is read in blocks and not mapped: its writer may make it
/// shorter at any moment, which would end a process that has it mapped. Memory stays small however long the
/// file and its lines are. Any thread.
class TranscriptWalk {
  public:
    /// Room for one block; kept by the caller for the next transcript.
    using Block = std::vector<char>;

    /// Lines longer than this are passed over: no request to Claude can be; bytes.
    static constexpr qint64 maxLine = qint64(32) * 1024 * 1024;

    TranscriptWalk(const QString& path, Block& block, ClaudeChatReader::Progress* progress);
    TranscriptWalk(const TranscriptWalk&) = delete;
    TranscriptWalk& operator=(const TranscriptWalk&) = delete;
    ~TranscriptWalk();

    /// The entries; none when the file can't be read. Call once.
    SessionEntries run();
    /// True when the file is there, and could not be read or not to its end.
    bool hasFailed() const { return m_hasFailed; }

  private:
    bool fill();
    void scan();
    void endLine(qsizetype end);
    QByteArray bytes(qint64 offset, qint64 size) const;

    /// Set while the file is opened.
    bool m_hasFailed = false;
    int m_descriptor = -1;
    Block& m_block;
    /// Where the bytes begin in the block.
    char* m_data = nullptr;
    ClaudeChatReader::Progress* m_progress;
    ChatTurns m_turns;
    LineMarks m_marks;
    /// Where the block and the current line begin in the file.
    qint64 m_blockOffset = 0;
    qint64 m_lineOffset = 0;
    qsizetype m_size = 0;
    qsizetype m_scanned = 0;
    bool m_isAtEnd = false;
};

}  // namespace lumbro
