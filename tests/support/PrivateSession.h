#pragma once

#include "tests/support/Program.h"
#include "tests/support/ScratchFolder.h"

#include <QString>

#include <memory>

namespace lumbro::test {

/// The session of a desktop with nothing in it but Evolution's calendars, or not even those, in a folder of
/// its own: a message bus, and what that starts when it is asked. The environment names it while it runs.
class PrivateSession {
  public:
    enum class Kind { evolution, empty };

    explicit PrivateSession(Kind kind) : m_kind(kind) {}
    ~PrivateSession();
    PrivateSession(const PrivateSession&) = delete;
    PrivateSession& operator=(const PrivateSession&) = delete;

    /// Whether this machine has what is needed.
    static bool isInstalled();

    bool start();
    /// Sends a signal to one of Evolution Data Server's programs, by the end of its name. False when it does
    /// not run.
    bool signal(const QString& name, int number) const;
    /// Its home, where `.local/share/evolution` holds the calendars.
    const ScratchFolder& home() const { return m_home; }
    QString address() const { return u"unix:path="_s + m_home.path(u"bus"_s); }

  private:
    void writeConfiguration() const;
    QProcessEnvironment environment() const;

    Kind m_kind;
    ScratchFolder m_home;
    std::unique_ptr<Program> m_bus;
};

}  // namespace lumbro::test
