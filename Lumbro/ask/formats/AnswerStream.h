#pragma once

#include <QString>

namespace lumbro {

/// Shows an answer while it is still being written. Lines of sources and actions never come out, and what
/// comes out is always a beginning of the answer as it will be stored.
class AnswerStream {
  public:
    /// Takes the next piece of the model's text and gives what can be shown of it and of what was held back.
    /// What is held back at the end is told by the answer as a whole.
    QString feed(const QString& piece);
    /// Begins with another text.
    void restart() { *this = {}; }

  private:
    void readLines();

    /// Everything so far.
    QString m_all;
    /// Where the line that is still open begins in it.
    qsizetype m_lineStart = 0;
    /// How much of it can't be a line to keep back.
    qsizetype m_clear = 0;
    /// How much of the trimmed answer has been given.
    qsizetype m_shown = 0;
    /// A line of sources or of an action has come: the rest waits for the end.
    bool m_isHeld = false;
};

}  // namespace lumbro
