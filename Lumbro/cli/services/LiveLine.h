#pragma once

#include "LumbroCore/Clock.h"
#include "cli/Output.h"

#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>

namespace lumbro {
class CaptureSession;
}

namespace lumbro::cli {

/// How far a recording from files is, in seconds.
struct PlayPosition {
    double at = 0;
    double of = 0;
};

/// Shows a running recording on the terminal: each final line as it comes, and below them one line with the
/// time, the levels and the words that are still open. Without a terminal only its notices.
class LiveLine final : public QObject {
  public:
    /// `position` tells how far files are; empty for devices.
    LiveLine(Output& output, const Clock& clock, CaptureSession& session,
             std::function<PlayPosition()> position);
    ~LiveLine() override;

  private:
    void printFinals();
    void printNotice();
    void update();
    QString head() const;

    Output& m_output;
    const Clock& m_clock;
    QPointer<CaptureSession> m_session;
    std::function<PlayPosition()> m_position;
    Clock::Duration m_start;
    qsizetype m_printed = 0;
};

/// "0:28" of 28 seconds.
QString clockText(double seconds);

/// Levels from 0 to 1 as a row of bars.
QString levelBars(const QList<float>& levels, int count);

}  // namespace lumbro::cli
