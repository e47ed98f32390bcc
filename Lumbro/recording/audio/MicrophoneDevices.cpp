#include "recording/audio/MicrophoneDevices.h"

#include <QCollator>
#include <QLocale>

#include <algorithm>

namespace lumbro::microphoneDevices {

QList<AudioDevice> available(const AudioServer& server) {
    // The locale is pinned, since the plain C locale compares digits one by one.
    QCollator order(QLocale(QLocale::English, QLocale::UnitedStates));
    order.setNumericMode(true);
    order.setCaseSensitivity(Qt::CaseInsensitive);
    QList<AudioDevice> devices = server.microphones();
    std::ranges::stable_sort(
        devices, [&](const QString& a, const QString& b) { return order.compare(a, b) < 0; },
        &AudioDevice::name);
    return devices;
}

QString resolve(const QString& uid, const QList<AudioDevice>& devices, const QString& defaultID) {
    const auto found = std::ranges::find(devices, uid, &AudioDevice::id);
    return uid.isEmpty() || found == devices.end() ? defaultID : found->id;
}

}  // namespace lumbro::microphoneDevices
