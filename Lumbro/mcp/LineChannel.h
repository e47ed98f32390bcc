#pragma once

#include "LumbroCore/Clock.h"

#include <QByteArray>
#include <QObject>
#include <QSocketNotifier>

#include <functional>
#include <memory>

namespace lumbro {

/// Answers lines that come in on one descriptor with lines on another, in their order and on the event loop.
/// While an answer waits for its reader nothing more is read, so that neither side's backlog grows. Neither
/// descriptor is closed or made non-blocking: others may share them. Main thread.
class LineChannel final : public QObject {
    Q_OBJECT

  public:
    /// A reader that takes nothing for so long has gone, whatever its descriptor says.
    static constexpr Clock::Duration patience = std::chrono::minutes(1);

    struct Handlers {
        /// The answer to a line without its end; empty for none.
        std::function<QByteArray(const QByteArray& line)> answer;
        /// The answer to a line of more than the most bytes, which is not kept.
        std::function<QByteArray()> answerTooLong;
    };

    /// Begins at once. `clock` must outlive this.
    LineChannel(int input, int output, Clock& clock, qsizetype mostBytes, Handlers handlers);

    /// Ends as if the input had ended, without what is still to be done.
    void stop();

  Q_SIGNALS:
    /// Once, from the event loop: the input has ended and all is answered, or the other side has gone. It is
    /// false when answers were lost although the other side is there.
    void ended(bool isWell);

  private:
    void read();
    void work();
    bool takeLine(QByteArray& line, bool& isTooLong);
    void handle(const QByteArray& line, bool isTooLong);
    void write();
    void end(bool isWell);

    int m_inputDescriptor;
    int m_outputDescriptor;
    Clock& m_clock;
    qsizetype m_mostBytes;
    Handlers m_handlers;
    QSocketNotifier m_reader;
    QSocketNotifier m_writer;
    Timer m_stalled;
    QByteArray m_input;
    /// Bytes at the beginning of `m_input` that hold no line end.
    qsizetype m_scanned = 0;
    bool m_isSkipping = false;
    bool m_isAtEnd = false;
    QByteArray m_output;
    qsizetype m_written = 0;
    bool m_isOver = false;
};

}  // namespace lumbro
