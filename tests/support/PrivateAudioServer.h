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

    /// An output "NAME" with 48 kHz and two channels. Gives its module's number once it is there, else
    /// nothing.
    QString addSink(const QString& name) const;
    /// A microphone "NAME" that hears what is played to the sink `heard`; gives the same.
    QString addMicrophone(const QString& name, const QString& heard) const;
    /// Makes a device the default "sink" or "source" and waits until it is.
    bool setDefault(const QString& kind, const QString& name) const;
    /// The usual room: the outputs "speakers" (default) and "micfeed", the microphone "virtmic" (default).
    bool addRoom() const;
    /// Takes a module by its number, or all of a name.
    bool unload(const QString& module) const;
    /// Runs pactl and gives what it prints, or its error words after "error: ".
    QString pactl(const QStringList& arguments) const;

    /// Starts a client program of the server, for example paplay or parec. It ends with this object.
    Program& run(const QString& program, const QStringList& arguments);
    /// Plays a file to a sink again and again, until the program that this gives is ended.
    Program& play(const QString& file, const QString& sink);
    /// Ends a client that is about to connect. PipeWire then tells nobody who is connected already of new
    /// default devices, ever. Nothing on PulseAudio.
    void loseAClient() const;
    /// The default sink and the default source, as the server says now.
    QString defaults() const;
    /// Everything that the daemons have said.
    QString log() const;

  private:
    QProcessEnvironment environment() const;
    QString script() const;
    bool answers() const;
    QString addDevice(const QString& kind, const QString& name, const QStringList& arguments) const;

    Kind m_kind;
    QTemporaryDir m_folder;
    std::unique_ptr<Program> m_daemons;
    std::vector<std::unique_ptr<Program>> m_clients;
};

}  // namespace lumbro::test
