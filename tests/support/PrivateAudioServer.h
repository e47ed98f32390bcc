#pragma once

#include "LumbroCore/Literals.h"
#include "tests/support/Program.h"

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <vector>

namespace lumbro::test {

/// A real audio server for one test, with a folder of its own for everything it keeps. While it is there, the
/// environment of the test program leads libpulse to it. It ends with the test program, however that ends.
class PrivateAudioServer {
  public:
    enum class Kind { pulseAudio, pipeWire };

    /// Whether the programs of such a server are on this machine.
    static bool isInstalled(Kind kind);

    explicit PrivateAudioServer(Kind kind);
    ~PrivateAudioServer();
    PrivateAudioServer(const PrivateAudioServer&) = delete;
    PrivateAudioServer& operator=(const PrivateAudioServer&) = delete;

    /// Starts the daemons and waits until they answer. False with the daemons' words in `log` otherwise.
    bool start();
    /// Ends the daemons.
    void stop();

    /// An output "NAME" with 48 kHz and two channels.
    QString addSink(const QString& name);
    /// A microphone "NAME" that hears what is played to the sink `heard`.
    QString addMicrophone(const QString& name, const QString& heard);
    /// The usual room: the outputs "speakers" (default) and "micfeed", the microphone "virtmic" (default).
    bool addRoom();
    /// Takes a module by its number, or all of a name.
    void unload(const QString& module);
    /// Runs pactl and gives what it prints, or its error words after "error: ".
    QString pactl(const QStringList& arguments) const;

    /// Starts a client program of the server, for example paplay or parec. It ends with this object.
    Program& run(const QString& program, const QStringList& arguments);
    /// Everything that the daemons have said.
    QString log() const;

  private:
    QProcessEnvironment environment() const;
    QString script() const;
    bool answers() const;

    Kind m_kind;
    QTemporaryDir m_folder;
    std::unique_ptr<Program> m_daemons;
    std::vector<std::unique_ptr<Program>> m_clients;
};

}  // namespace lumbro::test
