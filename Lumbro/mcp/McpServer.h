#pragma once

#include "mcp/McpMessage.h"
#include "mcp/McpTool.h"

#include <QByteArray>
#include <QList>
#include <QString>

namespace lumbro {

/// One client's conversation in the Model Context Protocol: lines in, lines out, nothing else. Knows the
/// revisions 2024-11-05, 2025-03-26 and 2025-06-18 and offers tools alone. One thread.
class McpServer {
  public:
    /// A longer line is no message.
    static constexpr qsizetype mostBytes = qsizetype(16) * 1024 * 1024;
    /// What the tools called by one line give together, in characters.
    static constexpr qsizetype mostText = qsizetype(4) * 1024 * 1024;

    /// What the server says of itself; the instructions are for the model.
    struct About {
        QString version;
        QString instructions;
    };

    McpServer(About about, QList<McpTool> tools);

    /// The answer to one line, itself a line without its end. Empty when there is nothing to say.
    QByteArray answer(const QByteArray& line);
    /// The answer to a line of more than `mostBytes`.
    static QByteArray answerTooLong();

  private:
    /// Why the whole line is refused; empty when it is not.
    QString refusal(const McpLine& line) const;
    /// Empty when there is nothing to say.
    QByteArray answer(const McpMessage& message, bool isBatch);
    QByteArray respond(const McpMessage& request);
    QByteArray initialize(const McpMessage& request);
    QByteArray listTools(const McpMessage& request) const;
    QByteArray callTool(const McpMessage& request);

    About m_about;
    QList<McpTool> m_tools;
    /// The protocol's revision that was agreed on; empty before that.
    QString m_revision;
    /// Characters that the current line's tools may still give.
    qsizetype m_room = mostText;
};

}  // namespace lumbro
