#pragma once

#include "LumbroCore/Clock.h"
#include "cli/Output.h"
#include "platform/AudioServer.h"

#include <QMap>
#include <QObject>
#include <QString>

#include <optional>

namespace lumbro::cli {

/// Says when the microphone or the output that a recording hears goes, or is another one from now on. The
/// recording follows them by itself. Main thread.
class DeviceWatch final : public QObject {
    Q_OBJECT

  public:
    /// Ids of the chosen devices: empty for the default one, none for a side that is no device.
    struct Chosen {
        std::optional<QString> microphone;
        std::optional<QString> output;
    };

    /// Begins to watch a server that is attached. What is passed in must outlive the watch.
    DeviceWatch(Output& output, Clock& clock, AudioServer& server, Chosen chosen);

  private:
    QString microphone() const;
    QString heardOutput() const;
    void compare();
    void learnNames();
    QString change(const QString& what, const QString& side, const QString& from, const QString& to) const;

    Output& m_output;
    AudioServer& m_server;
    Chosen m_chosen;
    /// The ids of what is heard now.
    QString m_microphone;
    QString m_heardOutput;
    /// Id to what a device is called, also of those that have gone.
    QMap<QString, QString> m_names;
    /// Devices that go and come make a burst of changes.
    Timer m_settling;
};

}  // namespace lumbro::cli
