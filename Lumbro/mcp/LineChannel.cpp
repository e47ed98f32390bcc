#include "mcp/LineChannel.h"

#include "LumbroCore/AppLog.h"

#include <QMetaObject>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace lumbro {

namespace {

constexpr qsizetype readSize = qsizetype(64) * 1024;
// What a descriptor takes without blocking once it says that it is ready.
constexpr qsizetype writeSize = 4096;

bool isReady(int descriptor) {
    pollfd state{.fd = descriptor, .events = POLLOUT, .revents = 0};
    return poll(&state, 1, 0) > 0;
}

}  // namespace

LineChannel::LineChannel(int input, int output, Clock& clock, qsizetype mostBytes, Handlers handlers)
    : m_inputDescriptor(input),
      m_outputDescriptor(output),
      m_clock(clock),
      m_mostBytes(mostBytes),
      m_handlers(std::move(handlers)),
      m_reader(input, QSocketNotifier::Read),
      m_writer(output, QSocketNotifier::Write) {
    m_writer.setEnabled(false);
    connect(&m_reader, &QSocketNotifier::activated, this, &LineChannel::read);
    connect(&m_writer, &QSocketNotifier::activated, this, [this] {
        write();
        work();
    });
}

void LineChannel::stop() {
    end(true);
}

void LineChannel::read() {
    std::array<char, readSize> bytes;  // NOLINT(cppcoreguidelines-pro-type-member-init): read() fills it
    const ssize_t count = ::read(m_inputDescriptor, bytes.data(), bytes.size());
    if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
        return;
    }
    m_isAtEnd = count <= 0;
    m_input.append(bytes.data(), std::max<ssize_t>(count, 0));
    work();
}

void LineChannel::work() {
    QByteArray line;
    bool isTooLong = false;
    while (!m_isOver && m_output.isEmpty() && takeLine(line, isTooLong)) {
        handle(line, isTooLong);
    }
    if (m_isOver) {
        return;
    }
    const bool isWaiting = !m_output.isEmpty();
    m_writer.setEnabled(isWaiting);
    m_reader.setEnabled(!isWaiting && !m_isAtEnd);
    if (m_isAtEnd && !isWaiting) {
        end(true);
    }
}

bool LineChannel::takeLine(QByteArray& line, bool& isTooLong) {
    qsizetype length = m_input.indexOf('\n', m_scanned);
    const bool isLast = length < 0 && m_isAtEnd && (!m_input.isEmpty() || m_isSkipping);
    if (length < 0 && !isLast) {
        m_isSkipping = m_isSkipping || m_input.size() > m_mostBytes;
        if (m_isSkipping) {
            m_input.clear();
        }
        m_scanned = m_input.size();
        return false;
    }
    length = isLast ? m_input.size() : length;
    isTooLong = m_isSkipping || length > m_mostBytes;
    line = isTooLong ? QByteArray() : m_input.first(length);
    m_input.remove(0, isLast ? length : length + 1);
    m_scanned = 0;
    m_isSkipping = false;
    return true;
}

void LineChannel::handle(const QByteArray& line, bool isTooLong) {
    m_output = isTooLong ? m_handlers.answerTooLong() : m_handlers.answer(line);
    m_written = 0;
    if (!m_output.isEmpty()) {
        m_output += '\n';
        write();
    }
}

void LineChannel::write() {
    const qsizetype before = m_written;
    while (m_written < m_output.size() && isReady(m_outputDescriptor)) {
        const qsizetype size = std::min(writeSize, m_output.size() - m_written);
        const ssize_t count = ::write(m_outputDescriptor, m_output.constData() + m_written, size_t(size));
        if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
            break;
        }
        if (count < 0) {
            const bool hasGone = errno == EPIPE || errno == ECONNRESET;
            if (!hasGone) {
                AppLog::error(u"mcp"_s, u"An answer can't be written: "_s + qt_error_string(errno));
            }
            end(hasGone);
            return;
        }
        m_written += count;
    }
    if (m_written == m_output.size()) {
        m_output.clear();
        m_stalled.stop();
    } else if (m_written > before || !m_stalled.isRunning()) {
        m_stalled.start(m_clock, patience, Clock::Repeat::once, [this] {
            AppLog::error(u"mcp"_s, u"Nobody took an answer for a minute; ended."_s);
            end(false);
        });
    }
}

void LineChannel::end(bool isWell) {
    if (m_isOver) {
        return;
    }
    m_isOver = true;
    m_reader.setEnabled(false);
    m_writer.setEnabled(false);
    m_stalled.stop();
    // Whoever hears it may delete this, which is in the middle of its work here.
    QMetaObject::invokeMethod(this, [this, isWell] { Q_EMIT ended(isWell); }, Qt::QueuedConnection);
}

}  // namespace lumbro
