#pragma once

#include <QByteArray>
#include <QString>

#include <array>

#include <fcntl.h>
#include <pty.h>
#include <unistd.h>

namespace lumbro::test {

/// A terminal on which a program prints, of so many columns.
class Terminal {
  public:
    explicit Terminal(unsigned short columns = 80) {
        winsize size{.ws_row = 24, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
        openpty(&m_ours, &m_theirs, nullptr, nullptr, &size);
        fcntl(m_ours, F_SETFL, O_NONBLOCK);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal() {
        close(m_ours);
        close(m_theirs);
    }

    QString name() const {
        std::array<char, 64> name{};
        return ttyname_r(m_theirs, name.data(), name.size()) == 0 ? QString::fromLocal8Bit(name.data())
                                                                  : QString();
    }
    /// Everything that has been printed so far.
    const QByteArray& text() {
        char piece[4096];
        for (ssize_t got = 0; (got = read(m_ours, piece, sizeof piece)) > 0;) {
            m_text.append(piece, got);
        }
        return m_text;
    }

  private:
    int m_ours = -1;
    int m_theirs = -1;
    QByteArray m_text;
};

}  // namespace lumbro::test
