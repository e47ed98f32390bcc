#pragma once

#include "runners/AgentProcess.h"
#include "runners/LineReader.h"

#include <QString>

#include <optional>

namespace lumbro::codex {

/// Reads the event stream of a run: the last message of the agent, and the last failure that was told.
class EventStream {
  public:
    EventStream();

    void feed(const QByteArray& piece) { m_lines.feed(piece); }
    void finish() { m_lines.finish(); }

    QString answer() const { return m_answer; }
    std::optional<QString> failure() const { return m_failure; }

  private:
    void take(const QByteArray& line);

    QString m_answer;
    std::optional<QString> m_failure;
    LineReader m_lines;
};

/// What was written to the error output without the lines that say nothing about a failure.
QString readableErrors(const QByteArray& errors);

/// The failure that a text of Codex stands for.
Failure classify(const QString& text);

/// What a run comes to once its process has gone. An answer with exit status 0 beats failures told before it,
/// such as lost connections that were found again.
Result<QString> judge(const AgentEnd& end, const EventStream& events);

}  // namespace lumbro::codex
