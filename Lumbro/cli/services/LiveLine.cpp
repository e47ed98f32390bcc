#include "cli/services/LiveLine.h"

#include "cli/Table.h"
#include "recording/CaptureSession.h"

#include <algorithm>
#include <cmath>

namespace lumbro::cli {

namespace {

constexpr int bars = 10;

// The end of a text matters while it grows.
QString tail(const QString& text, int width) {
    if (displayWidth(text) <= width) {
        return text;
    }
    qsizetype from = std::max<qsizetype>(0, text.size() - std::max(1, width) + 1);
    while (from < text.size() && displayWidth(text.sliced(from)) > width - 1) {
        ++from;
    }
    return u"…"_s + text.sliced(from);
}

}  // namespace

QString clockText(double seconds) {
    const qint64 whole = std::max<qint64>(0, qint64(seconds));
    return u"%1:%2"_s.arg(whole / 60).arg(whole % 60, 2, 10, QLatin1Char('0'));
}

QString levelBars(const QList<float>& levels, int count) {
    static const QString shapes = u" ▁▂▃▄▅▆▇█"_s;
    const QList<float> newest = levels.last(std::min<qsizetype>(count, levels.size()));
    QString text(count - newest.size(), u' ');
    for (const float level : newest) {
        const float shown = std::clamp(level, 0.0F, 1.0F) * float(shapes.size() - 1);
        text += shapes.at(qsizetype(std::lround(shown)));
    }
    return text;
}

LiveLine::LiveLine(Output& output, const Clock& clock, CaptureSession& session,
                   std::function<PlayPosition()> position)
    : m_output(output),
      m_clock(clock),
      m_session(&session),
      m_position(std::move(position)),
      m_start(clock.elapsed()) {
    connect(&session, &CaptureSession::noticeChanged, this, &LiveLine::printNotice);
    if (output.showsProgress()) {
        connect(&session, &CaptureSession::segmentsChanged, this, &LiveLine::printFinals);
        connect(&session, &CaptureSession::volatileChanged, this, &LiveLine::update);
        connect(&session, &CaptureSession::levelsChanged, this, &LiveLine::update);
        update();
    }
}

LiveLine::~LiveLine() {
    m_output.clearShown();
}

void LiveLine::printFinals() {
    const TranscriptSegments& segments = m_session->segments();
    for (; m_printed < segments.size(); ++m_printed) {
        const TranscriptSegment& segment = segments.at(m_printed);
        const Look look = segment.speaker == Speaker::me ? Look::accent : Look::good;
        m_output.say(m_output.styledError(u'[' + transcript::timestamp(segment.start) + u']', Look::dim) +
                     u' ' + m_output.styledError(rawValue(segment.speaker) + u':', look) + u' ' +
                     Output::clean(segment.text));
    }
    update();
}

void LiveLine::printNotice() {
    if (m_session && !m_session->notice().isEmpty()) {
        m_output.say(m_output.styledError(Output::clean(m_session->notice()), Look::bad));
    }
}

QString LiveLine::head() const {
    const std::chrono::duration<double> passed = m_clock.elapsed() - m_start;
    if (!m_position) {
        return m_output.styledError(u"● "_s, Look::bad) + clockText(passed.count());
    }
    const PlayPosition position = m_position();
    QString text = clockText(position.at);
    if (position.of > 0) {
        text += u" of "_s + clockText(position.of) +
                u" %1%"_s.arg(std::min(100, int(100 * position.at / position.of)), 3);
    }
    return text;
}

void LiveLine::update() {
    if (!m_session) {
        return;
    }
    const QString start = head() + u"  "_s + levelBars(m_session->levels(), bars) + u"  "_s;
    QStringList open;
    for (auto it = m_session->volatileText().begin(); it != m_session->volatileText().end(); ++it) {
        open += rawValue(it.key()) + u": "_s + Output::clean(it.value());
    }
    const int room = m_output.progressWidth() - 1 - displayWidth(start);
    m_output.show(start + m_output.styledError(tail(open.join(u"   "_s), room), Look::dim));
}

}  // namespace lumbro::cli
