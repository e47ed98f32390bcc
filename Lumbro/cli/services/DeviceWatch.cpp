#include "cli/services/DeviceWatch.h"

#include "recording/audio/MicrophoneDevices.h"

#include <algorithm>

namespace lumbro::cli {

namespace {

constexpr auto settlingTime = std::chrono::seconds(1);

bool isAmong(const QList<AudioDevice>& devices, const QString& id) {
    return std::ranges::find(devices, id, &AudioDevice::id) != devices.end();
}

QString nameOf(const QList<AudioDevice>& devices, const QString& id) {
    const auto found = std::ranges::find(devices, id, &AudioDevice::id);
    return Output::clean(found == devices.end() ? id : found->name);
}

}  // namespace

DeviceWatch::DeviceWatch(Output& output, Clock& clock, AudioServer& server, Chosen chosen)
    : m_output(output), m_server(server), m_chosen(std::move(chosen)) {
    m_microphone = microphone();
    m_heardOutput = heardOutput();
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

void DeviceWatch::compare() {
    const QString microphone = this->microphone();
    if (microphone != std::exchange(m_microphone, microphone)) {
        m_output.say(
            microphone.isEmpty()
                ? u"The microphone has gone; your side is silent until there is one again."_s
                : u"The microphone is now \"%1\"."_s.arg(nameOf(m_server.microphones(), microphone)));
    }
    const QString output = heardOutput();
    if (output != std::exchange(m_heardOutput, output)) {
        m_output.say(output.isEmpty()
                         ? u"The output has gone; the other side is silent until there is one again."_s
                         : u"The output is now \"%1\"."_s.arg(nameOf(m_server.outputs(), output)));
    }
}

}  // namespace lumbro::cli
