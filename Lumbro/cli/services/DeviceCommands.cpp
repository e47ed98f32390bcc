#include "cli/services/DeviceCommands.h"

#include "app/Services.h"
#include "cli/Table.h"
#include "platform/AudioServer.h"
#include "recording/audio/MicrophoneDevices.h"

#include <QJsonArray>
#include <QJsonObject>

namespace lumbro::cli {

namespace {

QJsonArray devicesJson(const QList<AudioDevice>& devices) {
    QJsonArray array;
    for (const AudioDevice& device : devices) {
        array +=
            QJsonObject{{u"id"_s, device.id}, {u"name"_s, device.name}, {u"isDefault"_s, device.isDefault}};
    }
    return array;
}

QJsonArray usersJson(const QList<MicrophoneUser>& users) {
    QJsonArray array;
    for (const MicrophoneUser& user : users) {
        array += QJsonObject{{u"name"_s, user.name}, {u"bundleID"_s, user.bundleID}};
    }
    return array;
}

QString devicesText(const Output& output, const QString& header, const QList<AudioDevice>& devices) {
    if (devices.isEmpty()) {
        return output.styled(header, Look::dim) + u"\nnone\n"_s;
    }
    QList<QStringList> rows;
    for (const AudioDevice& device : devices) {
        rows += {Output::clean(device.name), device.isDefault ? u"default"_s : QString(), device.id};
    }
    return table(output, {{header, false, true, Look::bold}, {u""_s, false, false, Look::good}, {u"ID"_s}},
                 rows);
}

}  // namespace

Task<int> devices(CommandContext context) {
    Output& output = context.output;
    Services services;
    AudioServer& server = services.audioServer();
    if (const auto attached = co_await server.attach(); !attached) {
        co_return output.fail(attached.error());
    }
    const QList<AudioDevice> microphones = microphoneDevices::available(server);
    if (context.arguments.wantsJson()) {
        output.printJson(QJsonObject{{u"microphones"_s, devicesJson(microphones)},
                                     {u"outputs"_s, devicesJson(server.outputs())},
                                     {u"usingMicrophone"_s, usersJson(server.usingMicrophone())}});
        co_return 0;
    }
    output.print(devicesText(output, u"MICROPHONES"_s, microphones) + u'\n' +
                 devicesText(output, u"OUTPUTS"_s, server.outputs()));
    QStringList users;
    for (const MicrophoneUser& user : server.usingMicrophone()) {
        users += Output::clean(user.name);
    }
    output.printLine(u"\nUsing the microphone now: "_s +
                     (users.isEmpty() ? u"nobody"_s : users.join(u", "_s)));
    co_return 0;
}

}  // namespace lumbro::cli
