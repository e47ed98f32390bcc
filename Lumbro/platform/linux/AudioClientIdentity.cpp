#include "platform/linux/AudioClientIdentity.h"

#include <array>

namespace lumbro {

namespace {

/// A program of this system (in lower case, as a whole) and the application that the rules know it as.
struct KnownProgram {
    const char16_t* identity;
    const char16_t* bundleID;
    const char16_t* name;
};

constexpr std::array knownPrograms = {
    KnownProgram{u"zoom", u"us.zoom.xos", u"Zoom"},
    KnownProgram{u"zoom.real", u"us.zoom.xos", u"Zoom"},
    KnownProgram{u"zoom voiceengine", u"us.zoom.xos", u"Zoom"},
    KnownProgram{u"us.zoom.zoom", u"us.zoom.xos", u"Zoom"},
    KnownProgram{u"teams", u"com.microsoft.teams2", u"Teams"},
    KnownProgram{u"teams-for-linux", u"com.microsoft.teams2", u"Teams"},
    KnownProgram{u"com.github.ismaelmartinez.teams_for_linux", u"com.microsoft.teams2", u"Teams"},
    KnownProgram{u"com.microsoft.teams", u"com.microsoft.teams2", u"Teams"},
    KnownProgram{u"webex", u"com.cisco.webexmeetingsapp", u"Webex"},
    KnownProgram{u"ciscocollabhost", u"com.cisco.webexmeetingsapp", u"Webex"},
    KnownProgram{u"slack", u"com.tinyspeck.slackmacgap", u"Slack"},
    KnownProgram{u"com.slack.slack", u"com.tinyspeck.slackmacgap", u"Slack"},
    KnownProgram{u"discord", u"com.hnc.Discord", u"Discord"},
    KnownProgram{u"discordcanary", u"com.hnc.Discord", u"Discord"},
    KnownProgram{u"discordptb", u"com.hnc.Discord", u"Discord"},
    KnownProgram{u"com.discordapp.discord", u"com.hnc.Discord", u"Discord"},
    KnownProgram{u"vesktop", u"com.hnc.Discord", u"Discord"},
    KnownProgram{u"webcord", u"com.hnc.Discord", u"Discord"},
    // What is built like Chrome counts as it.
    KnownProgram{u"chrome", u"com.google.Chrome", u"Chrome"},
    KnownProgram{u"google-chrome", u"com.google.Chrome", u"Chrome"},
    KnownProgram{u"com.google.chrome", u"com.google.Chrome", u"Chrome"},
    KnownProgram{u"chromium", u"com.google.Chrome", u"Chromium"},
    KnownProgram{u"chromium-browser", u"com.google.Chrome", u"Chromium"},
    KnownProgram{u"org.chromium.chromium", u"com.google.Chrome", u"Chromium"},
    KnownProgram{u"io.github.ungoogled_software.ungoogled_chromium", u"com.google.Chrome", u"Chromium"},
    KnownProgram{u"vivaldi", u"com.google.Chrome", u"Vivaldi"},
    KnownProgram{u"vivaldi-bin", u"com.google.Chrome", u"Vivaldi"},
    KnownProgram{u"com.vivaldi.vivaldi", u"com.google.Chrome", u"Vivaldi"},
    KnownProgram{u"opera", u"com.google.Chrome", u"Opera"},
    KnownProgram{u"com.opera.opera", u"com.google.Chrome", u"Opera"},
    KnownProgram{u"brave", u"com.brave.Browser", u"Brave"},
    KnownProgram{u"brave-browser", u"com.brave.Browser", u"Brave"},
    KnownProgram{u"com.brave.browser", u"com.brave.Browser", u"Brave"},
    KnownProgram{u"msedge", u"com.microsoft.edgemac", u"Edge"},
    KnownProgram{u"microsoft-edge", u"com.microsoft.edgemac", u"Edge"},
    KnownProgram{u"com.microsoft.edge", u"com.microsoft.edgemac", u"Edge"},
    KnownProgram{u"firefox", u"org.mozilla.firefox", u"Firefox"},
    KnownProgram{u"firefox-bin", u"org.mozilla.firefox", u"Firefox"},
    KnownProgram{u"firefox-esr", u"org.mozilla.firefox", u"Firefox"},
    KnownProgram{u"org.mozilla.firefox", u"org.mozilla.firefox", u"Firefox"},
    KnownProgram{u"librewolf", u"org.mozilla.firefox", u"LibreWolf"},
    KnownProgram{u"io.gitlab.librewolf-community", u"org.mozilla.firefox", u"LibreWolf"},
};

/// Programs that only show how loud it is.
constexpr std::array meters = {
    u"org.pulseaudio.pavucontrol",
    u"pavucontrol",
    u"pavucontrol-qt",
    u"org.gnome.volumecontrol",
    u"gnome-control-center",
    u"gnome-shell",
    u"org.kde.kmixd",
    u"org.kde.plasma-pa",
    u"plasmashell",
    u"com.saivert.pwvucontrol",
    u"pwvucontrol",
    u"cinnamon-settings",
};

constexpr std::array identityProperties = {
    u"pipewire.access.portal.app_id",
    u"application.id",
    u"application.process.binary",
    u"application.name",
};

QString property(const RecordingClient& client, const char16_t* name) {
    return client.properties.value(QString::fromUtf16(name)).trimmed();
}

bool isMeter(const RecordingClient& client) {
    if (property(client, u"stream.monitor") == u"true"_s ||
        property(client, u"media.name").contains(u"peak detect"_s, Qt::CaseInsensitive)) {
        return true;
    }
    return std::ranges::any_of(identityProperties, [&](const char16_t* name) {
        const QString identity = property(client, name).toLower();
        return std::ranges::any_of(
            meters, [&](const char16_t* meter) { return identity == QString::fromUtf16(meter); });
    });
}

const KnownProgram* known(const QString& identity) {
    const auto found = std::ranges::find_if(knownPrograms, [&](const KnownProgram& program) {
        return identity.compare(QString::fromUtf16(program.identity), Qt::CaseInsensitive) == 0;
    });
    return found == knownPrograms.end() ? nullptr : &*found;
}

}  // namespace

std::optional<MicrophoneUser> microphoneUser(const RecordingClient& client, qint64 ownPid) {
    if (!client.hasClient || client.corked || !client.onMicrophone || isMeter(client) ||
        property(client, u"application.process.id") == QString::number(ownPid)) {
        return std::nullopt;
    }
    QString identity;
    for (const char16_t* name : identityProperties) {
        const QString value = property(client, name);
        // A web engine inside another application names itself; the table then knows the program's file.
        if (const KnownProgram* program = known(value)) {
            return MicrophoneUser{QString::fromUtf16(program->name), QString::fromUtf16(program->bundleID)};
        }
        if (identity.isEmpty()) {
            identity = value;
        }
    }
    if (identity.isEmpty()) {
        return std::nullopt;
    }
    const QString name = property(client, u"application.name");
    return MicrophoneUser{name.isEmpty() ? identity : name, identity};
}

}  // namespace lumbro
