#include "cli/services/DeviceWatch.h"

#include "recording/audio/MicrophoneDevices.h"

#include <algorithm>
#include <utility>

namespace lumbro::cli {

namespace {

constexpr auto settlingTime = std::chrono::seconds(1);

bool isAmong(const QList<AudioDevice>& devices, const QString& id) {
    return std::ranges::find(devices, id, &AudioDevice::id) != devices.end();
}

/// A name in quotes, with the id where another device has the same name.
QString nameOf(const QList<AudioDevice>& devices, const AudioDevice& device) {
    const QString name = u'"' + Output::clean(device.name) + u'"';
    const bool isAlone = std::ranges::count(devices, device.name, &AudioDevice::name) == 1;
    return isAlone ? name : u"%1 (%2)"_s.arg(name, Output::clean(device.id));
}

}  // namespace

DeviceWatch::DeviceWatch(Output& output, Clock& clock, AudioServer& server, Chosen chosen)
    : m_output(output), m_server(server), m_chosen(std::move(chosen)) {
    m_microphone = microphone();
    m_heardOutput = heardOutput();
    learnNames();
    const auto settle = [this, &clock] {
        m_settling.start(clock, settlingTime, Clock::Repeat::once, [this] { compare(); });
    };
    connect(&server, &AudioServer::devicesChanged, this, settle);
    connect(&server, &AudioServer::defaultMicrophoneChanged, this, settle);
    connect(&server, &AudioServer::defaultOutputChanged, this, settle);
}

QString DeviceWatch::microphone() const {
    if (!m_chosen.microphone) {
        return {};
    }
    // A stream stays where it is as long as it may, also when the chosen one comes back.
    const bool stays = m_microphone == *m_chosen.microphone || m_microphone == m_server.defaultMicrophone();
    if (stays && isAmong(m_server.microphones(), m_microphone)) {
        return m_microphone;
    }
    return microphoneDevices::resolve(*m_chosen.microphone, m_server.microphones(),
                                      m_server.defaultMicrophone());
}

QString DeviceWatch::heardOutput() const {
    const QString chosen = m_chosen.output.value_or(QString());
    if (!m_chosen.output || chosen.isEmpty()) {
        return m_chosen.output ? m_server.defaultOutput() : QString();
    }
    return isAmong(m_server.outputs(), chosen) ? chosen : QString();
}

void DeviceWatch::learnNames() {
    for (const QList<AudioDevice>& devices : {m_server.microphones(), m_server.outputs()}) {
        for (const AudioDevice& device : devices) {
            m_names.insert(device.id, nameOf(devices, device));
        }
    }
}

QString DeviceWatch::change(const QString& what, const QString& side, const QString& from,
                            const QString& to) const {
    if (to.isEmpty()) {
        return u"The %1 has gone; %2 is silent until there is one again."_s.arg(what, side);
    }
    const bool isThere = isAmong(m_server.microphones(), from) || isAmong(m_server.outputs(), from);
    const QString gone =
        isThere || from.isEmpty() ? QString() : u"%1 has gone. "_s.arg(m_names.value(from, from));
    return gone + u"The %1 is now %2."_s.arg(what, m_names.value(to, to));
}

void DeviceWatch::compare() {
    learnNames();
    if (const QString now = microphone(); now != m_microphone) {
        m_output.say(change(u"microphone"_s, u"your side"_s, std::exchange(m_microphone, now), now));
    }
    if (const QString now = heardOutput(); now != m_heardOutput) {
        m_output.say(change(u"output"_s, u"the other side"_s, std::exchange(m_heardOutput, now), now));
    }
}

}  // namespace lumbro::cli
