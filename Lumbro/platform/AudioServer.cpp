#include "platform/AudioServer.h"

#include <algorithm>

namespace lumbro {

namespace {

QString defaultOf(const QList<AudioDevice>& devices) {
    const auto found = std::ranges::find(devices, true, &AudioDevice::isDefault);
    return found == devices.end() ? QString() : found->id;
}

}  // namespace

QString AudioServer::defaultMicrophone() const {
    return defaultOf(m_state.microphones);
}

QString AudioServer::defaultOutput() const {
    return defaultOf(m_state.outputs);
}

void AudioServer::setState(AudioServerState state) {
    const AudioServerState old = std::exchange(m_state, std::move(state));
    if (old.microphones != m_state.microphones || old.outputs != m_state.outputs) {
        Q_EMIT devicesChanged();
    }
    if (defaultOf(old.microphones) != defaultMicrophone()) {
        Q_EMIT defaultMicrophoneChanged();
    }
    if (defaultOf(old.outputs) != defaultOutput()) {
        Q_EMIT defaultOutputChanged();
    }
    if (old.microphoneUsers != m_state.microphoneUsers) {
        Q_EMIT microphoneUsersChanged();
    }
}

}  // namespace lumbro
