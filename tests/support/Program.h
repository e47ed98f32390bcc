#pragma once

#include "LumbroCore/Literals.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>

#include <sys/types.h>

namespace lumbro::test {

/// What a program is given besides its arguments.
struct ProgramSetting {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    /// Files to which its output and its errors are added.
    QString output = u"/dev/null"_s;
    QString errors = u"/dev/null"_s;
};

/// A program that a test runs beside itself, in a process group of its own that ends with this object. Unlike
/// QProcess it starts without clone(), which ThreadSanitizer cannot follow.
class Program {
  public:
    /// Starts the program, looked for on PATH, with its arguments. Its input is a pipe that ends with this
    /// object, or with the test program however that ends.
    explicit Program(const QStringList& command, const ProgramSetting& setting = {});
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    bool isStarted() const { return m_process > 0; }
    pid_t id() const { return m_process; }
    /// Blocks until it ends and gives its exit status, or 128 and the signal that ended it. Nothing when it
    /// did not end within the bound or never started.
    std::optional<int> wait(std::chrono::milliseconds bound = std::chrono::minutes(1));
    /// Asks the whole group to end.
    void terminate() const;
    /// Ends the whole group: politely, after a bound by force. None of it runs any more afterwards.
    void end();

  private:
    void signalGroup(int signal) const;
    bool hasEndedWithin(std::chrono::milliseconds bound) const;

    pid_t m_process = -1;
    int m_input = -1;
    std::optional<int> m_status;
};

}  // namespace lumbro::test
