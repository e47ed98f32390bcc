#include "LumbroCore/Literals.h"
#include "mcp/LineChannel.h"
#include "tests/support/TestClock.h"
#include "tests/support/Wait.h"

#include <array>
#include <csignal>
#include <optional>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace lumbro;
using namespace lumbro::test;

namespace {

/// A channel between two pipes, which answers "x" with "<x>" and says nothing to "quiet".
class Pipes {
  public:
    explicit Pipes(qsizetype mostBytes = 100) {
        std::signal(SIGPIPE, SIG_IGN);
        EXPECT_EQ(pipe2(m_in.data(), O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(m_out.data(), O_CLOEXEC), 0);
        fcntl(m_out[0], F_SETFL, O_NONBLOCK);
        const LineChannel::Handlers handlers{.answer =
                                                 [this](const QByteArray& line) {
                                                     ++m_lines;
                                                     return line == "quiet" ? QByteArray() : answerTo(line);
                                                 },
                                             .answerTooLong = [] { return QByteArray("too long"); }};
        m_channel.emplace(m_in[0], m_out[1], m_clock, mostBytes, handlers);
        QObject::connect(&*m_channel, &LineChannel::ended, [this](bool isWell) { m_ended = isWell; });
    }
    ~Pipes() {
        m_channel.reset();
        for (const int descriptor : {m_in[0], m_in[1], m_out[0], m_out[1]}) {
            close(descriptor);
        }
    }
    Pipes(const Pipes&) = delete;
    Pipes& operator=(const Pipes&) = delete;

    void send(const QByteArray& bytes) const {
        EXPECT_EQ(::write(m_in[1], bytes.constData(), size_t(bytes.size())), bytes.size());
    }
    void closeInput() { closeOne(m_in[1]); }
    void closeOutput() { closeOne(m_out[0]); }
    /// What has come out, once it has so many bytes.
    QByteArray received(qsizetype size) {
        eventually([this, size] {
            std::array<char, 65536> bytes{};
            const ssize_t count = ::read(m_out[0], bytes.data(), bytes.size());
            m_received.append(bytes.data(), std::max<ssize_t>(count, 0));
            return m_received.size() >= size;
        });
        return std::exchange(m_received, {});
    }

    static QByteArray answerTo(const QByteArray& line) { return '<' + line + '>'; }
    int lines() const { return m_lines; }
    const std::optional<bool>& ended() const { return m_ended; }
    TestClock& clock() { return m_clock; }
    LineChannel& channel() { return *m_channel; }

  private:
    static void closeOne(int& descriptor) {
        close(descriptor);
        descriptor = -1;
    }

    TestClock m_clock;
    std::array<int, 2> m_in{-1, -1};
    std::array<int, 2> m_out{-1, -1};
    std::optional<LineChannel> m_channel;
    QByteArray m_received;
    int m_lines = 0;
    std::optional<bool> m_ended;
};

}  // namespace

TEST(LineChannel, answersLinesInTheirOrder) {
    Pipes pipes;
    pipes.send("one\ntwo\nquiet\nthr");
    EXPECT_EQ(pipes.received(12), "<one>\n<two>\n");
    pipes.send("ee\nlast");
    EXPECT_EQ(pipes.received(8), "<three>\n");
    pipes.closeInput();
    EXPECT_EQ(pipes.received(7), "<last>\n");
    EXPECT_TRUE(eventually([&] { return pipes.ended().has_value(); }));
    EXPECT_EQ(pipes.ended(), true);
}

TEST(LineChannel, passesOverALineThatIsTooLong) {
    Pipes pipes(10);
    pipes.send(QByteArray(11, 'x') + "\n" + QByteArray(10, 'y') + '\n');
    EXPECT_EQ(pipes.received(22), "too long\n<yyyyyyyyyy>\n");
    // It may come in pieces, and its end never.
    pipes.send(QByteArray(11, 'x'));
    EXPECT_TRUE(eventually([&] { return pipes.lines() == 1; }));
    pipes.send(QByteArray(30000, 'x') + "\none\n");
    EXPECT_EQ(pipes.received(15), "too long\n<one>\n");
    pipes.send(QByteArray(50, 'x'));
    pipes.closeInput();
    EXPECT_EQ(pipes.received(9), "too long\n");
    EXPECT_TRUE(eventually([&] { return pipes.ended().has_value(); }));
}

TEST(LineChannel, readsNoFurtherWhileAnAnswerWaits) {
    const QByteArray line(50000, 'x');
    Pipes pipes(100000);
    // What the two pipes hold is less than the answers need.
    pipes.send(line + '\n');
    EXPECT_TRUE(eventually([&] { return pipes.lines() == 1; }));
    pipes.send(line + '\n');
    EXPECT_TRUE(eventually([&] { return pipes.lines() == 2; }));
    EXPECT_EQ(pipes.clock().timerCount(), 1);
    pipes.send("one\n");
    processEvents();
    EXPECT_EQ(pipes.lines(), 2);
    const QByteArray all = (Pipes::answerTo(line) + '\n').repeated(2) + "<one>\n";
    EXPECT_EQ(pipes.received(all.size()), all);
    EXPECT_EQ(pipes.clock().timerCount(), 0);
    EXPECT_EQ(pipes.ended(), std::nullopt);
}

TEST(LineChannel, givesUpAReaderThatTakesNothing) {
    Pipes pipes(1000000);
    for (int i = 1; i <= 2; ++i) {
        pipes.send(QByteArray(50000, 'x') + '\n');
        EXPECT_TRUE(eventually([&] { return pipes.lines() == i; }));
    }
    pipes.clock().advance(LineChannel::patience - std::chrono::seconds(1));
    EXPECT_EQ(pipes.ended(), std::nullopt);
    pipes.clock().advance(std::chrono::seconds(1));
    EXPECT_EQ(pipes.ended(), false);
}

TEST(LineChannel, endsWithItsReaderOrWhenToldTo) {
    Pipes gone;
    gone.closeOutput();
    gone.send("one\n");
    EXPECT_TRUE(eventually([&] { return gone.ended().has_value(); }));
    EXPECT_EQ(gone.ended(), true);
    Pipes stopped;
    stopped.channel().stop();
    EXPECT_TRUE(eventually([&] { return stopped.ended().has_value(); }));
    EXPECT_EQ(stopped.ended(), true);
}
